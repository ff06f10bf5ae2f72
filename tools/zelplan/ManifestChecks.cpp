#include "ManifestChecks.h"

#include "Console.h"
#include "core/ZelDownloadFolder.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

namespace {

// Whether the rules look at the record's version and build.
bool isRuled(const ZelManifestElement& element) {
    return element.GetIsFarmServer() || element.GetIsLATForMaya();
}

// The label with the words added that the rules look for and that others in it, or two together,
// nearly are; these are appended to `misspelt`.
QString withRuledWords(QString label, QStringList& misspelt) {
    static const QRegularExpression gap("[^A-Za-z]+");
    const QStringList words = label.split(gap, Qt::SkipEmptyParts);
    for (const QString ruled : {"FarmServer", "Lumivex", "Atelier", "Maya"}) {
        for (qsizetype i = 0; i < words.size(); ++i) {
            for (const QString& word : {words[i], words.mid(i, 2).join(' ')}) {
                if (label.contains(ruled) || !isNearMiss(word, ruled))
                    continue;
                misspelt << QString("%1 is nearly %2").arg(quoted(word), quoted(ruled));
                label += ' ' + ruled;
            }
        }
    }
    return label;
}

class Checks {
public:
    Checks(Manifest& m, const Manifest* o)
        : manifest(m), products(m.products), older(o), partners(products.size(), -1) {
        if (!older)
            return;
        partners = findPartners(older->products, products);
        for (int i = 0; i < older->products.size(); ++i) {
            olderAddresses[older->products[i].DownloadURL.toString()] = i;
            olderHosts << older->products[i].DownloadURL.host();
        }
        olderHosts << older->successUrl.value_or(QUrl()).host();
    }

    void run() {
        for (int i = 0; i < products.size(); ++i) {
            checkLabel(i);
            checkVersion(i);
            checkBuild(i);
            checkSize(i);
            checkAddress(i);
            checkName(i);
            checkEligibility(i);
        }
        checkOrder(manifest);
        if (manifest.successUrl)
            checkUrl(-1, *manifest.successUrl, manifest.success, "opens no web page at the end",
                     "opens it, but anybody on the way can show another page");
        if (older && manifest.accepted && !products.isEmpty())
            checkGone();
        if (older)
            markKnown();
    }

private:
    // The same product in the older manifest, or null.
    const ZelManifestElement* before(int index) const {
        return partners[index] < 0 ? nullptr : &older->products[partners[index]];
    }
    Finding& add(int index, const char* field, const char* kind, const QString& what,
                 const QString& effect) {
        const RecordNotes& notes = manifest.notes[index];
        const int line = notes.fields.value(field, {notes.line, QString()}).line;
        return manifest.add(line, index, kind, what, effect);
    }

    // Whether no product before this one has the key.
    bool checkUnique(int index, const char* field, const char* kind, QHash<QString, int>& seen,
                     const QString& key, const QString& effect) {
        const int first = seen.value(key, index);
        seen[key] = first;
        if (first == index || key.isEmpty())
            return true;
        add(index, field, kind,
            QString("%1 is also that of the product in line %2")
                .arg(quoted(key), QString::number(manifest.notes[first].line)),
            effect);
        return false;
    }

    void checkLabel(int index) {
        const ZelManifestElement& element = products[index];
        if (isRuled(element))
            return;
        const char* field = element.SimpleName.isEmpty() ? "Name" : "SimpleName";
        checkUnique(index, field, "duplicate-label", labels, element.label(),
                    "shows two rows that look the same");

        QStringList misspelt;
        ZelManifestElement corrected;
        corrected.Name = withRuledWords(element.label(), misspelt);
        const QString effect = "proposes it to everybody, whatever is installed";
        if (isRuled(corrected))
            add(index, field, "near-word", "the word " + misspelt.join(", "), effect);
        else if (before(index) && isRuled(*before(index)))
            add(index, field, "rule-lost",
                QString("the label was %1").arg(quoted(before(index)->label())), effect);
    }

    void checkVersion(int index) {
        const ZelManifestElement& element = products[index];
        const QString label = quoted(element.label());
        const char* field = element.SimpleName.isEmpty() ? "Name" : "SimpleName";
        const QString version = versionIn(element.label());
        const QString named = versionIn(element.Name);
        if (version.isEmpty()) {
            if (isRuled(element))
                add(index, field, "no-version", QString("the label %1 has no version").arg(label),
                    "never proposes it, and shows it under \"Show All\" only");
            return;
        }

        // All that would do for one, but for pieces of longer numbers.
        static const QRegularExpression number("[0-9]+(\\.[0-9]+)+");
        QStringList candidates;
        for (auto match = number.globalMatch(element.label()); match.hasNext();) {
            const QString token = match.next().captured();
            if (versionIn(token) == token)
                candidates << token;
        }
        const QString effect = QString("takes %1 for the version").arg(version);
        if (isRuled(element) && !candidates.contains(version))
            add(index, field, "other-version",
                QString("the version in %1 is a piece of another number").arg(label), effect)
                .severity = Severity::Error;
        // The package's own name settles which of two numbers is meant.
        else if (isRuled(element) && candidates.size() > 1 && named != version)
            add(index, field, "other-version",
                QString("the label %1 has several numbers like versions").arg(label), effect);
        else if (!named.isEmpty() && named != version)
            add(index, field, "version-mismatch",
                QString("the label %1 says %2, the package's name %3").arg(label, version, named),
                QString("shows %1 and takes the package that is named otherwise").arg(version));
    }

    void checkBuild(int index) {
        const ZelManifestElement& element = products[index];
        if (before(index) && buildOf(element) < buildOf(*before(index)))
            add(index, "BuildID", "build-backwards",
                QString("the build went back from %1 to %2")
                    .arg(buildOf(*before(index)))
                    .arg(buildOf(element)),
                isRuled(element) ? "does not propose it to those who have the older manifest's"
                                 : "proposes it, an older package, to everybody");
        if (buildOf(element) > 0)
            return;
        Finding& finding = add(
            index, "BuildID", "bad-build",
            element.BuildID.isEmpty()
                ? QString("there is no build")
                : QString("the build %1 is not a number above zero").arg(quoted(element.BuildID)),
            isRuled(element) ? "calls any installed build of it the most up to date"
                             : "does not mind: it proposes this kind whatever the build");
        if (isRuled(element))
            finding.severity = Severity::Error;
    }

    void checkSize(int index) {
        const ZelManifestElement& element = products[index];
        const QString written = manifest.notes[index].fields.value("FileSize").text;
        const bool isOffered = element.DownloadURL.isValid() && element.EligibleCommunityDownload;
        const qint64 size = element.FileSize;
        if (size > 0) {
            const qint64 old = before(index) ? before(index)->FileSize : 0;
            if (old > 0 && (size < old / 2 || size / 5 > old))
                add(index, "FileSize", "size-jump",
                    QString("the size went from %1 to %2 bytes").arg(old).arg(size),
                    "reserves the wrong room if this is a slip, and downloads the package anew");
        } else if (isOffered || !written.isEmpty()) {
            Finding& finding =
                add(index, "FileSize", "bad-size",
                    written.isEmpty()
                        ? QString("there is no size")
                        : QString("the size %1 is not a number above zero").arg(quoted(written)),
                    "reserves no room for the package, and downloads it anew although it is there");
            if (isOffered)
                finding.severity = Severity::Error;
        }
    }

    // What is true of every address that the installer opens; false when it is not one.
    bool checkUrl(int index, const QUrl& url, const RecordNotes::Field& written,
                  const QString& fails, const QString& insecure) {
        const QString who = QString(index < 0 ? "the success address %1 " : "the address %1 ")
                                .arg(quoted(written.text));
        const auto report = [&](const char* kind, const QString& what, const QString& effect) {
            manifest.add(written.line, index, kind, who + what, effect);
        };
        static const QRegularExpression blank("\\s");
        const bool isWeb = url.scheme() == "http" || url.scheme() == "https";
        if (!url.isValid() || !isWeb || url.host().isEmpty()) {
            report("bad-address",
                   url.isValid() ? QString("is not one of a web server") : QString("is not valid"),
                   fails);
            return false;
        }
        if (written.text.contains(blank)) {
            report("bad-address", "has blanks in it", "sends %20 for each blank");
            return false;
        }
        if (url.scheme() != "https")
            report("not-https", "is not https", insecure);
        if (older && !olderHosts.contains(url.host()))
            manifest.add(
                written.line, index, "new-host",
                QString("the older manifest does not name the server %1").arg(quoted(url.host())),
                "takes what is there");
        return true;
    }

    void checkAddress(int index) {
        const ZelManifestElement& element = products[index];
        const char* field = "DownloadURL";
        const QUrl& url = element.DownloadURL;
        const RecordNotes::Field written = manifest.notes[index].fields.value(field);
        const QString unoffered = isRuled(element)
                                      ? "does not offer it, or fails to download it where "
                                        "a rule chooses it"
                                      : "never offers it";
        if (written.text.isEmpty())
            add(index, field, "no-address", "there is no download address", unoffered);
        else if (checkUrl(
                     index, url, written,
                     url.isValid() ? "offers it and fails to download it" : unoffered,
                     "downloads it, but anybody on the way can put another package in its place"))
            checkPackage(index);
    }

    // Whether the address is this product's own.
    void checkPackage(int index) {
        const QUrl& url = products[index].DownloadURL;
        const QString file = url.fileName();
        const QString name = ZelPackageFileName(products[index].Name);
        if (name.endsWith(".pkg") && !url.hasQuery() && file != name &&
            !QFileInfo(file).suffix().isEmpty())
            add(index, "DownloadURL", "other-file-name",
                QString("the address ends with %1, Name is %2").arg(quoted(file), quoted(name)),
                "stores what is at the address under this name");

        const QString effect = "downloads the other product's package for this one";
        const int earlier = olderAddresses.value(url.toString(), partners[index]);
        if (checkUnique(index, "DownloadURL", "duplicate-address", addresses, url.toString(),
                        effect) &&
            earlier != partners[index])
            add(index, "DownloadURL", "duplicate-address",
                QString("the address was that of %1 in the older manifest")
                    .arg(quoted(older->products[earlier].label())),
                effect);
    }

    void checkName(int index) {
        const QString& name = products[index].Name;
        const QString stored = ZelPackageFileName(name);
        const QString fault = name.isEmpty()          ? "the package has no name"
                              : stored != name        ? "there are directories in the name "
                              : name.endsWith(".pkg") ? ""
                                                      : ".pkg is not at the end of the name ";
        if (!fault.isEmpty())
            add(index, "Name", "bad-name", name.isEmpty() ? fault : fault + quoted(name),
                stored == name ? QString("downloads it and does not install it")
                               : "stores it as " + quoted(stored));
        // The usual file system of the users' machines does not tell the cases apart.
        checkUnique(index, "Name", "duplicate-name", names, stored.toLower(),
                    "may take the one's package on disk for the other's");
    }

    void checkEligibility(int index) {
        const char* field = "EligibleCommunityDownload";
        const QString written = manifest.notes[index].fields.value(field).text;
        if (products[index].EligibleCommunityDownload || written == "false")
            return;
        const bool isMissing = !manifest.notes[index].fields.contains(field);
        const bool wasEligible = before(index) && before(index)->EligibleCommunityDownload;
        Finding& finding =
            add(index, field, "not-eligible",
                !isMissing    ? QString("the text %1 is not \"true\"").arg(quoted(written))
                : wasEligible ? QString("it no longer says that it is for the community")
                              : QString("it does not say whether it is for the community"),
                isRuled(products[index]) ? "does not offer it, except where a rule chooses it"
                                         : "does not offer it to anybody");
        if (isMissing && !wasEligible)
            finding.severity = Severity::Note;
    }

    void checkGone() {
        const QSet<int> kept(partners.begin(), partners.end());
        for (int i = 0; i < older->products.size(); ++i) {
            if (!kept.contains(i))
                manifest
                    .add(1, -1, "gone",
                         QString("the product %1 is gone").arg(quoted(older->products[i].label())),
                         "no longer offers it")
                    .label = older->products[i].label();
        }
        if (older->successUrl && !manifest.successUrl)
            manifest.add(1, -1, "gone", "the success address is gone",
                         "opens its built-in page at the end");
    }

    // A finding is known when the older manifest has one of the kind about the same product.
    void markKnown() {
        const auto key = [](const Finding& finding, const QString& label) {
            return QString("%1 %2 %3").arg(nameOf(finding.severity), finding.kind->name, label);
        };
        QHash<QString, int> known;
        for (const Finding& finding : older->findings)
            ++known[key(finding, older->labelOf(finding))];
        for (Finding& finding : manifest.findings) {
            const ZelManifestElement* same =
                finding.product < 0 ? nullptr : before(finding.product);
            if (--known[key(finding, same ? same->label() : manifest.labelOf(finding))] >= 0)
                finding.state = Finding::Known;
        }
    }

    Manifest& manifest;
    const QList<ZelManifestElement>& products;
    const Manifest* older;
    QList<int> partners;
    QHash<QString, int> olderAddresses;
    QSet<QString> olderHosts;
    // The first product of each.
    QHash<QString, int> names; // in lower case
    QHash<QString, int> labels;
    QHash<QString, int> addresses;
};

} // namespace

void checkManifest(Manifest& manifest, const Manifest* older) {
    Checks(manifest, older).run();
}
