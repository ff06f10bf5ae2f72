#pragma once

#include "core/ZelManifestElement.h"

#include <QHash>

// Finds the tools for one installed Maya after another, and says in the log, what
// FindHighestVersionOfProduct finds and says for each pattern. The products are looked through
// once: what a pattern asks of them lies behind "Maya" in their labels, and is the same for many.
class ZelToolsSearch {
public:
    // The products have to outlive this object.
    explicit ZelToolsSearch(const QList<ZelManifestElement>& products);

    // The index of the product chosen for this version of Maya, or -1.
    int find(const QString& mayaVersion) const;

    // What the label of a product for this version of Maya matches.
    static QString pattern(const QString& mayaVersion);

private:
    struct Group {
        int last = -1; // that has a version
        QList<int> withoutVersion;
    };

    const QList<ZelManifestElement>& manifest;
    QHash<QString, Group> groups; // indices, by what is behind "Maya"
};
