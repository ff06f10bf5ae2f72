#include "ManifestChecks.h"

#include "Console.h"
#include "core/ZelDownloadFolder.h"
#include "core/ZelSelectionRules.h"

#include <QRegularExpression>

namespace {

// Numbers of Maya versions in one label that are looked at; labels name one.
constexpr int mayaVersionLimit = 8;

QString quoted(const QString& text) {
    return '"' + printable(text, 60) + '"';
}

int buildOf(const ZelManifestElement& element) {
    int build = 0;
    element.GetBuildId(build);
    return build;
}

// The version that the rules read in a text, empty when there is none.
QString versionIn(const QString& text) {
    ZelManifestElement element;
    element.Name = text;
    QString version;
    element.GetVersion(version);
    return version;
}

// The numbers behind the word Maya.
QStringList mayaVersions(const QString& label) {
    static const QRegularExpression number("[0-9]+(\\.[0-9]+)*");
    QStringList versions;
    auto match = number.globalMatch(label, std::max<qsizetype>(label.indexOf("Maya"), 0));
    while (match.hasNext() && versions.size() < mayaVersionLimit)
        versions << match.next().captured();
    versions.removeDuplicates();
    return versions;
}

} // namespace

ManifestChecks::ManifestChecks(const QList<ZelManifestElement>& records,
                               const QList<RecordNotes>& recordNotes)
    : products(records), notes(recordNotes) {}

void ManifestChecks::checkAll() {
    for (int i = 0; i < products.size(); ++i) {
        checkVersion(i);
        checkBuild(i);
        checkSize(i);
        checkAddress(i);
        checkName(i);
        checkEligibility(i);
    }
    checkServers();
    checkTools();
}

bool ManifestChecks::isRuled(int index) const {
    return products[index].GetIsFarmServer() || products[index].GetIsLATForMaya();
}

QString ManifestChecks::text(int index, const char* field) const {
    return notes[index].fields.value(field).text;
}

void ManifestChecks::add(int index, const char* field, Severity severity, const QString& kind,
                         const QString& what, const QString& effect, const QString& remedy) {
    const int line = notes[index].fields.value(field, {notes[index].line, QString()}).line;
    findings << Finding{line, index, severity, kind, what, effect, remedy};
}

void ManifestChecks::checkVersion(int index) {
    const ZelManifestElement& element = products[index];
    const char* field = element.SimpleName.isEmpty() ? "Name" : "SimpleName";
    const QString ignored =
        "does not mind: it compares versions of render servers and Maya tools only";
    QString version;
    if (element.GetVersion(version)) {
        add(index, field, isRuled(index) ? Severity::Error : Severity::Note, "no-version",
            QString("the label %1 has no version").arg(quoted(element.label())),
            isRuled(index) ? "never proposes it, and shows it under \"Show All\" only" : ignored,
            "write a version of two digits, a point and digits into the label, such as 21.0");
        return;
    }

    // Whether the version is a piece of a longer number, and the next number that would do for one.
    static const QRegularExpression number("[0-9]+(\\.[0-9]+)+");
    const qsizetype at = element.label().indexOf(version);
    QString other;
    bool isPiece = false;
    auto match = number.globalMatch(element.label());
    while (match.hasNext() && other.isEmpty()) {
        const QRegularExpressionMatch token = match.next();
        if (token.capturedStart() < at && token.capturedEnd() > at)
            isPiece = true;
        if (token.capturedStart() > at && versionIn(token.captured()) == token.captured())
            other = token.captured();
    }
    // The package's own name settles which of two numbers is meant.
    if (!element.SimpleName.isEmpty() && versionIn(element.Name) == version)
        other.clear();
    if (!isPiece && other.isEmpty())
        return;
    add(index, field,
        !isRuled(index) ? Severity::Note
        : isPiece       ? Severity::Error
                        : Severity::Warning,
        "other-version",
        isPiece
            ? QString("the version in %1 is a piece of another number").arg(quoted(element.label()))
            : QString("another number stands before %1 in the label %2")
                  .arg(other, quoted(element.label())),
        isRuled(index) ? QString("takes %1 for the version").arg(version) : ignored,
        "let the version be the first number with a point in the label");
}

void ManifestChecks::checkBuild(int index) {
    if (buildOf(products[index]) > 0)
        return;
    add(index, "BuildID", isRuled(index) ? Severity::Error : Severity::Warning, "bad-build",
        products[index].BuildID.isEmpty() ? QString("there is no build")
                                          : QString("the build %1 is not a number above zero")
                                                .arg(quoted(products[index].BuildID)),
        isRuled(index) ? "calls any installed build of it the most up to date"
                       : "does not mind: it proposes this kind whatever the build",
        "write the package's build number");
}

void ManifestChecks::checkSize(int index) {
    if (products[index].FileSize > 0)
        return;
    const bool isOffered =
        products[index].DownloadURL.isValid() && products[index].EligibleCommunityDownload;
    const QString written = text(index, "FileSize");
    add(index, "FileSize", isOffered ? Severity::Error : Severity::Warning, "bad-size",
        written.isEmpty() ? QString("there is no size")
                          : QString("the size %1 is not a number above zero").arg(quoted(written)),
        "reserves no room for the package, and downloads it anew although it is there",
        "write the package's size in bytes");
}

void ManifestChecks::checkAddress(int index) {
    const QUrl& url = products[index].DownloadURL;
    const QString written = text(index, "DownloadURL");
    const QString neverOffered =
        isRuled(index) ? "does not offer it; where a rule chooses it, it fails to download it"
                       : "never offers it";
    if (written.isEmpty())
        add(index, "DownloadURL", Severity::Warning, "no-address", "there is no download address",
            neverOffered, "write the package's address, or remove the product");
    else if (!url.isValid())
        add(index, "DownloadURL", Severity::Error, "bad-address",
            QString("the address %1 is not valid").arg(quoted(written)), neverOffered,
            "write a valid address");
    else if (url.host().isEmpty() || !url.scheme().startsWith("http"))
        add(index, "DownloadURL", Severity::Error, "bad-address",
            QString("the address %1 is not one of a web server").arg(quoted(addressText(url))),
            "offers it and fails to download it", "begin with https:// and the server's name");
    else if (url.scheme() != "https")
        add(index, "DownloadURL", Severity::Warning, "not-https",
            QString("the address %1 is not https").arg(quoted(addressText(url))),
            "downloads it, but anybody on the way can put another package in its place",
            "begin with https://");
}

void ManifestChecks::checkName(int index) {
    const QString& name = products[index].Name;
    const QString stored = ZelPackageFileName(name);
    if (name.isEmpty())
        add(index, "Name", Severity::Error, "bad-name", "the package has no name",
            "downloads it and does not install it", "write the package's file name");
    else if (stored != name)
        add(index, "Name", Severity::Error, "bad-name",
            QString("the name %1 has directories in it").arg(quoted(name)),
            QString("stores it as %1").arg(quoted(stored)), "write the file name alone");
    else if (!name.endsWith(".pkg"))
        add(index, "Name", Severity::Error, "bad-name",
            QString("the name %1 does not end with .pkg").arg(quoted(name)),
            "downloads it and does not install it", "end the name with .pkg");

    // The usual file system of the users' machines does not tell the cases apart.
    const QString key = stored.toLower();
    const auto before = names.constFind(key);
    if (before == names.constEnd())
        names[key] = index;
    else if (!key.isEmpty())
        add(index, "Name", Severity::Error, "duplicate-name",
            QString("the name %1 is also that of the product in line %2")
                .arg(quoted(name))
                .arg(notes[*before].line),
            "may take the one's package on disk for the other's",
            "give each package a name of its own");
}

void ManifestChecks::checkEligibility(int index) {
    const QString written = text(index, "EligibleCommunityDownload");
    if (products[index].EligibleCommunityDownload || written == "false")
        return;
    const QString effect = isRuled(index) ? "does not offer it, except where a rule chooses it"
                                          : "does not offer it to anybody";
    const bool isMissing = !notes[index].fields.contains("EligibleCommunityDownload");
    add(index, "EligibleCommunityDownload", isMissing ? Severity::Note : Severity::Error,
        "not-eligible",
        isMissing ? QString("it does not say whether it is for the community")
                  : QString("the text %1 is not \"true\"").arg(quoted(written)),
        effect, "write true, in small letters and without blanks, or false");
}

bool ManifestChecks::isNewer(int index, int other) const {
    float version = 0;
    float otherVersion = 0;
    products[index].GetVersion(version);
    products[other].GetVersion(otherVersion);
    if (version != otherVersion)
        return version > otherVersion;
    return buildOf(products[index]) > buildOf(products[other]);
}

void ManifestChecks::replacedBy(int index, int winner) {
    const bool wrongWay = isNewer(index, winner);
    add(index, "", wrongWay ? Severity::Error : Severity::Warning, "replaced",
        QString("%1 in line %2 is for the same machines and comes later")
            .arg(quoted(products[winner].label()))
            .arg(notes[winner].line),
        wrongWay ? "only ever proposes the later one, although this one is newer"
                 : "only ever proposes the later one",
        wrongWay ? "put the newer one last" : "remove it if \"Show All\" need not list it");
}

// A machine without anything shows which of the render servers the rule takes.
void ManifestChecks::checkServers() {
    ZelOffer offer;
    QStringList issues;
    ZelChooseLFSDownload(products, ZelMachineAssay(), offer, issues);
    if (offer.chosen.isEmpty())
        return;
    for (int i = 0; i < products.size(); ++i) {
        if (products[i].GetIsFarmServer() && i != offer.chosen.first() &&
            !versionIn(products[i].label()).isEmpty())
            replacedBy(i, offer.chosen.first());
    }
}

// For each version of Maya, a machine with it alone shows which of the tools the rule takes. It is
// asked about those alone that name the version: about all of them, the work would grow with the
// square of the manifest.
void ManifestChecks::checkTools() {
    QMap<QString, QList<int>> tools;
    QHash<int, int> winners; // of each of the tools, -1 as long as there is none
    for (int i = 0; i < products.size(); ++i) {
        if (!products[i].GetIsLATForMaya() || versionIn(products[i].label()).isEmpty())
            continue;
        winners[i] = -1;
        for (const QString& version : mayaVersions(products[i].label()))
            tools[version] << i;
    }
    ZelMachineAssay machine;
    for (auto group = tools.cbegin(); group != tools.cend(); ++group) {
        QList<ZelManifestElement> candidates;
        for (const int i : group.value())
            candidates << products[i];
        machine.products = {{{"ProductName", "Maya"}, {"Version", group.key()}}};
        ZelOffer offer;
        QStringList issues;
        ZelChooseLATDownload(candidates, machine, offer, issues);
        if (offer.chosen.isEmpty())
            continue;
        const int winner = group.value()[offer.chosen.first()];
        for (const int i : group.value()) {
            if (winners[i] != i)
                winners[i] = winner;
        }
        winners[winner] = winner;
    }
    for (int i = 0; i < products.size(); ++i) {
        const int winner = winners.value(i, i);
        if (winner < 0)
            add(i, "", Severity::Error, "no-maya",
                QString("no installed Maya leads to the label %1").arg(quoted(products[i].label())),
                "never proposes it, and shows it under \"Show All\" only",
                "write \"Atelier\", \"Maya\" and Maya's version into the label, in this order");
        else if (winner != i)
            replacedBy(i, winner);
    }
}

void ManifestChecks::compareWith(const QList<ZelManifestElement>& older) {
    QHash<QString, int> byLabel;
    QHash<QString, int> byName;
    for (int i = 0; i < older.size(); ++i) {
        byLabel[older[i].label()] = i;
        byName[older[i].Name] = i;
    }
    for (int i = 0; i < products.size(); ++i) {
        const int same = byLabel.value(products[i].label(), byName.value(products[i].Name, -1));
        if (same < 0 || buildOf(products[i]) >= buildOf(older[same]))
            continue;
        add(i, "BuildID", Severity::Error, "build-backwards",
            QString("the build went back from %1 to %2")
                .arg(buildOf(older[same]))
                .arg(buildOf(products[i])),
            isRuled(i) ? "does not propose it to those who have the older manifest's"
                       : "proposes it, an older package, to everybody",
            "check that the package is the newer one");
    }
}
