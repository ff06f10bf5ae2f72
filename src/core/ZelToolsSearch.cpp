#include "core/ZelToolsSearch.h"

#include <algorithm>

namespace {

constexpr QLatin1String toolsWord("Atelier");
constexpr QLatin1String mayaWord("Maya");

// Keeps Maya 2014 from matching a product for 2014.5.
constexpr char patternEnd[] = "([^.]|$)";

} // namespace

ZelToolsSearch::ZelToolsSearch(const QList<ZelManifestElement>& products) : manifest(products) {
    for (int i = 0; i < manifest.size(); ++i) {
        const QString& label = manifest[i].label();
        const qsizetype tools = label.indexOf(toolsWord);
        const qsizetype maya = tools < 0 ? -1 : label.indexOf(mayaWord, tools + toolsWord.size());
        if (maya < 0)
            continue;
        Group& group = groups[label.mid(maya + mayaWord.size())];
        if (manifest[i].hasVersion())
            group.last = i;
        else
            group.withoutVersion << i;
    }
}

QString ZelToolsSearch::pattern(const QString& mayaVersion) {
    return "Atelier.*Maya.*" + mayaVersion + patternEnd;
}

int ZelToolsSearch::find(const QString& mayaVersion) const {
    static const QRegExp plain("[0-9.]*");
    // Anything else may have a meaning of its own in the whole pattern.
    if (!plain.exactMatch(mayaVersion)) {
        QRegExp expression(pattern(mayaVersion));
        return ZelManifestElement::FindHighestVersionOfProduct(manifest, expression);
    }

    const QRegExp behindMaya(mayaVersion + patternEnd);
    int found = -1;
    QList<int> withoutVersion;
    for (auto group = groups.begin(); group != groups.end(); ++group) {
        if (behindMaya.indexIn(group.key()) >= 0) {
            found = std::max(found, group->last);
            withoutVersion += group->withoutVersion;
        }
    }
    std::sort(withoutVersion.begin(), withoutVersion.end());
    for (int i : std::as_const(withoutVersion)) {
        QString none;
        manifest[i].GetVersion(none); // for the log
    }
    return found;
}
