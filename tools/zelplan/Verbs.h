#pragma once

#include <QCommandLineParser>

// Each verb reads its options and arguments from the parser and returns the exit status.
int snapshotVerb(const QCommandLineParser& arguments);
int offerVerb(const QCommandLineParser& arguments);
int checkVerb(const QCommandLineParser& arguments);
int diffVerb(const QCommandLineParser& arguments);
