#pragma once

#include "ManifestInspector.h"

// What the records themselves, as the reader delivered them, mean for the rules and the download.
// The rules are asked, not repeated.
class ManifestChecks {
public:
    // Both lists have one entry for each record.
    ManifestChecks(const QList<ZelManifestElement>& products, const QList<RecordNotes>& notes);

    // Everything that can be told from this manifest alone.
    void checkAll();

    // Builds that are lower than those of the same products in an older manifest.
    void compareWith(const QList<ZelManifestElement>& older);

    QList<Finding> findings;

private:
    void checkVersion(int index);
    void checkBuild(int index);
    void checkSize(int index);
    void checkAddress(int index);
    void checkName(int index);
    void checkEligibility(int index);
    void checkServers();
    void checkTools();

    // Whether the rules look at the record's version and build.
    bool isRuled(int index) const;
    bool isNewer(int index, int other) const;
    QString text(int index, const char* field) const;
    void replacedBy(int index, int winner);
    void add(int index, const char* field, Severity severity, const QString& kind,
             const QString& what, const QString& effect, const QString& remedy);

    const QList<ZelManifestElement>& products;
    const QList<RecordNotes>& notes;
    QHash<QString, int> names; // package names so far, in lower case
};
