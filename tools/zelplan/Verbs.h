#pragma once

#include <QCommandLineParser>

// The exit statuses that all verbs share.
enum Exit { Clean = 0, Found = 1, Unreadable = 2 };

// Each verb reads its options and arguments from the parser, prints, and returns the exit status.
// When it is Unreadable, nothing has been printed and the reason is in `problem`.
int snapshotVerb(const QCommandLineParser& arguments, QString& problem);
int offerVerb(const QCommandLineParser& arguments, QString& problem);
int checkVerb(const QCommandLineParser& arguments, QString& problem);
int diffVerb(const QCommandLineParser& arguments, QString& problem);
