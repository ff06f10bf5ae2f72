#pragma once

#include "core/ZelManifestElement.h"

#include <QHash>
#include <QJsonObject>
#include <optional>

enum class Severity { Note, Warning, Error };

// "note", "warning" or "error".
QString nameOf(Severity severity);

// What is the same for all findings of a kind, unless a finding says otherwise.
struct Kind {
    const char* name; // stays the same
    Severity severity;
    const char* remedy;
};

// Null when there is none of this name.
const Kind* findKind(const QString& name);

// Something in a manifest that a release engineer hardly meant.
struct Finding {
    // Whether it counts, was in the older manifest already, or is allowed.
    enum State { New, Known, Allowed };

    int line = 1;
    int product = -1; // index of the record, -1 when it belongs to none
    const Kind* kind = nullptr;
    QString what;   // what is in the file
    QString effect; // what the installer does with it
    QString remedy;
    Severity severity = Severity::Warning;
    State state = New;
    QString label; // of a product that has no record here
};

// Where a record and its fields stand, and the texts that the reader took for them.
struct RecordNotes {
    struct Field {
        int line = 1;
        QString text;
    };
    int line = 1;
    QHash<QString, Field> fields;
};

// A manifest as the installer reads it, with what is noticed about it.
struct Manifest {
    QString file;
    bool accepted = true; // the installer takes the document
    QList<ZelManifestElement> products;
    QList<RecordNotes> notes;       // one for each product
    std::optional<QUrl> successUrl; // what the reader made of `success`
    RecordNotes::Field success;
    QList<Finding> findings;
    bool passes = true; // the gate

    // The label of the product that a finding is about, empty when it is about none.
    QString labelOf(const Finding& finding) const;

    // The reference is valid until the next is added.
    Finding& add(int line, int product, const char* kind, const QString& what,
                 const QString& effect);
};

// Reads whatever is in the file: what is wrong becomes a finding. Nothing, with the reason in
// `problem`, when the file cannot be read. "-" is standard input.
std::optional<Manifest> inspectManifest(const QString& path, QString& problem);

// Reads a manifest that the installer accepts and that has a product; nothing, with the reason in
// `problem`, when the file is none.
std::optional<Manifest> readManifest(const QString& path, QString& problem);

// For each product of the newer manifest the index of the same one in the older, or -1. It is the
// one of the same label, package name or address, else the one whose label differs in the version
// alone. Of several the first belongs to the first, and so on.
QList<int> findPartners(const QList<ZelManifestElement>& older,
                        const QList<ZelManifestElement>& newer);

// The version that the rules read in a text, empty when there is none.
QString versionIn(const QString& text);

// The build as a number, 0 when it is not one.
int buildOf(const ZelManifestElement& element);

// The record for programs.
QJsonObject toJson(const ZelManifestElement& element);

// Whether two words differ by so little that one may be meant for the other.
bool isNearMiss(const QString& word, const QString& other);
