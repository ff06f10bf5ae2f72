#include "Manifest.h"

#include "Console.h"

#include <algorithm>
#include <numeric>

namespace {

using enum Severity;

// The label without its version: what is common to the releases of a product.
QString family(const ZelManifestElement& element) {
    QString label = element.label();
    const QString version = versionIn(label);
    return version.isEmpty() ? label : label.replace(version, "*");
}

const QList<Kind>& kinds() {
    static const QList<Kind> list{
        {"unreadable", Error, "correct the document here; the slip may stand in the line before"},
        {"bare-ampersand", Error, "write &amp;"},
        {"no-product", Error, "check that this is the manifest"},
        {"field-before-product", Error, "move it into a ProductInfo element"},
        {"early-success-address", Error, "move it behind the first product"},
        {"swallowed-space", Error, "remove the empty field or give it a value"},
        {"cut-text", Error,
         "write the text in one piece: no CDATA section, comment or element in it"},
        {"repeated-field", Error, "keep one of them"},
        {"field-outside-product", Error, "move it into its ProductInfo element"},
        {"unknown-element", Warning, "remove it"},
        {"no-version", Error,
         "write a version of two digits, a point and digits into the label, such as 21.0"},
        {"other-version", Warning, "let the version be the first number with a point in the label"},
        {"version-mismatch", Warning, "write the same version into both"},
        {"near-word", Error, "correct the word"},
        {"bad-build", Warning, "write the package's build number"},
        {"bad-size", Warning, "write the package's size in bytes"},
        {"no-address", Warning, "write the package's address, or remove the product"},
        {"bad-address", Error,
         "begin with https:// and the server's name, and write %20 for a blank"},
        {"not-https", Warning, "begin with https://"},
        {"duplicate-address", Error, "write this package's own address"},
        {"other-file-name", Warning, "check that Name and the address belong to the same package"},
        {"bad-name", Error, "write the file name alone, with .pkg at its end"},
        {"duplicate-name", Error, "give each package a name of its own"},
        {"duplicate-label", Warning, "give each product a label of its own"},
        {"not-eligible", Error, "write true, in small letters and without blanks, or false"},
        {"replaced", Warning, "remove it if \"Show All\" need not list it"},
        {"no-maya", Error,
         "write \"Atelier\", \"Maya\" and Maya's version into the label, in this order"},
        {"gone", Warning, "check that it is meant to be gone"},
        {"build-backwards", Error, "check that the package is the newer one"},
        {"size-jump", Warning, "check the number of digits, and that the package is complete"},
        {"new-host", Warning, "check that this server is meant"},
        {"rule-lost", Error, "write the words into the label that the older manifest has"},
        {"probe-unreachable", Error, "check the address and the server"},
        {"probe-certificate", Error, "give the server a certificate that is valid for its name"},
        {"probe-status", Error, "put the package at this address"},
        {"probe-length", Error, "write the package's size in bytes"},
        {"probe-contents", Error, "put the package at this address"},
    };
    return list;
}

} // namespace

QString nameOf(Severity severity) {
    return severity == Error ? "error" : severity == Warning ? "warning" : "note";
}

const Kind* findKind(const QString& name) {
    for (const Kind& kind : kinds()) {
        if (name == kind.name)
            return &kind;
    }
    return nullptr;
}

QString Manifest::labelOf(const Finding& finding) const {
    return finding.product < 0 ? finding.label : products[finding.product].label();
}

Finding& Manifest::add(int line, int product, const char* name, const QString& what,
                       const QString& effect) {
    const Kind* kind = findKind(name);
    return findings.emplaceBack(
        Finding{line, product, kind, what, effect, kind->remedy, kind->severity, Finding::New, {}});
}

QList<int> findPartners(const QList<ZelManifestElement>& older,
                        const QList<ZelManifestElement>& newer) {
    QString (*const keys[])(const ZelManifestElement&){
        [](const ZelManifestElement& element) { return element.label(); },
        [](const ZelManifestElement& element) { return element.Name; },
        [](const ZelManifestElement& element) { return element.DownloadURL.toString(); }, family};
    QList<int> partners(newer.size(), -1);
    QList<bool> taken(older.size(), false);
    for (const auto& key : keys) {
        QHash<QString, QList<int>> free;
        for (int i = int(older.size()) - 1; i >= 0; --i) {
            if (!taken[i])
                free[key(older[i])] << i;
        }
        free.remove(QString());
        for (qsizetype i = 0; i < newer.size(); ++i) {
            const auto same = partners[i] < 0 ? free.find(key(newer[i])) : free.end();
            if (same == free.end() || same->isEmpty())
                continue;
            partners[i] = same->takeLast();
            taken[partners[i]] = true;
        }
    }
    return partners;
}

QString versionIn(const QString& text) {
    ZelManifestElement element;
    element.Name = text;
    QString version;
    element.GetVersion(version);
    return version;
}

int buildOf(const ZelManifestElement& element) {
    int build = 0;
    element.GetBuildId(build);
    return build;
}

QJsonObject toJson(const ZelManifestElement& element) {
    return {{"label", element.label()},
            {"name", element.Name},
            {"build", buildOf(element)},
            {"size", element.FileSize},
            {"address", addressText(element.DownloadURL)},
            {"eligible", element.EligibleCommunityDownload}};
}

bool isNearMiss(const QString& word, const QString& other) {
    const int limit = int(std::clamp<qsizetype>((other.size() + 1) / 4, 1, 3));
    if (std::abs(word.size() - other.size()) > limit)
        return false;
    const QString a = word.toLower();
    const QString b = other.toLower();
    // Edit distance, one row of the table at a time.
    QList<int> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < a.size(); ++i) {
        int diagonal = row[0]++;
        for (qsizetype j = 0; j < b.size(); ++j) {
            const int replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.last() <= limit;
}
