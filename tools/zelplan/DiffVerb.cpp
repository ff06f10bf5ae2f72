#include "Console.h"
#include "Forecast.h"
#include "ManifestInspector.h"
#include "Verbs.h"
#include "core/ZelTexts.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

// The same product in both manifests: -1 where one does not have it.
struct Pair {
    int before = -1;
    int after = -1;
    bool isOtherPackage = false;
};

bool isOtherPackage(const ZelManifestElement& a, const ZelManifestElement& b) {
    return a.BuildID != b.BuildID || a.FileSize != b.FileSize || a.Name != b.Name ||
           a.DownloadURL != b.DownloadURL;
}

// Products are the same when their labels are: what a user reads. Of several with one label the
// first belongs to the first, and so on.
QList<Pair> pairUp(const QList<ZelManifestElement>& before,
                   const QList<ZelManifestElement>& after) {
    QList<Pair> pairs;
    QHash<QString, QList<int>> unpaired;
    for (int i = 0; i < before.size(); ++i) {
        unpaired[before[i].label()] << i;
        pairs << Pair{i, -1, false};
    }
    for (int i = 0; i < after.size(); ++i) {
        const auto same = unpaired.find(after[i].label());
        if (same == unpaired.end() || same->isEmpty()) {
            pairs << Pair{-1, i, false};
        } else {
            const int index = same->takeFirst();
            pairs[index] = {index, i, isOtherPackage(before[index], after[i])};
        }
    }
    return pairs;
}

struct Side {
    QList<ZelManifestElement> manifest;
    Forecast forecast;

    Decision decision(int index) const {
        return index < 0 ? Decision::NotOffered : forecast.decisions[index];
    }
    QString toString(int index) const {
        if (index < 0)
            return "not in the manifest";
        QString text = nameOf(decision(index));
        if (decision(index) != Decision::NotOffered)
            text += QString(", build %1, %2")
                        .arg(printable(manifest[index].BuildID, 12),
                             ZelHumanBytes(manifest[index].FileSize));
        return QString("%1 (%2)").arg(text, printable(forecast.offer.reasons.value(index)));
    }
    QJsonValue toJson(int index) const {
        if (index < 0)
            return {};
        const ZelManifestElement& element = manifest[index];
        int build = 0;
        element.GetBuildId(build);
        return QJsonObject{{"decision", nameOf(decision(index))},
                           {"reason", forecast.offer.reasons.value(index)},
                           {"name", element.Name},
                           {"build", build},
                           {"size", element.FileSize},
                           {"address", addressText(element.DownloadURL)}};
    }
};

class Comparison {
public:
    Comparison(const Side& older, const Side& newer, const QList<Pair>& pairs)
        : before(older), after(newer) {
        for (const Pair& pair : pairs) {
            if (isChanged(pair))
                changes << pair;
        }
        for (const QString& issue : before.forecast.issues) {
            if (!after.forecast.issues.contains(issue))
                gone << issue;
        }
        for (const QString& issue : after.forecast.issues) {
            if (!before.forecast.issues.contains(issue))
                come << issue;
        }
    }

    bool isEmpty() const {
        return changes.isEmpty() && gone.isEmpty() && come.isEmpty() &&
               before.forecast.fits == after.forecast.fits;
    }

    void printText(const Snapshot& snapshot) const {
        print(printable(snapshot.file) + '\n');
        for (const Pair& pair : changes)
            print(QString("  %1\n    before: %2\n    after:  %3\n")
                      .arg(printable(label(pair), 60), before.toString(pair.before),
                           after.toString(pair.after)));
        for (const QString& issue : gone)
            print("  no longer told: " + printable(issue, 500) + '\n');
        for (const QString& issue : come)
            print("  newly told: " + printable(issue, 500) + '\n');
        print(QString("  room needed: %1 before (%2), %3 after (%4); free are %5\n\n")
                  .arg(ZelHumanBytes(before.forecast.needed), fit(before),
                       ZelHumanBytes(after.forecast.needed), fit(after),
                       ZelHumanBytes(snapshot.freeBytes)));
    }

    QJsonObject toJson(const Snapshot& snapshot) const {
        QJsonArray products;
        for (const Pair& pair : changes)
            products << QJsonObject{{"label", label(pair)},
                                    {"before", before.toJson(pair.before)},
                                    {"after", after.toJson(pair.after)}};
        return {{"snapshot", snapshot.file},
                {"changes", products},
                {"explanationsGone", QJsonArray::fromStringList(gone)},
                {"explanationsNew", QJsonArray::fromStringList(come)},
                {"neededBytesBefore", before.forecast.needed},
                {"neededBytesAfter", after.forecast.needed},
                {"fitsBefore", before.forecast.fits},
                {"fitsAfter", after.forecast.fits}};
    }

private:
    static QString fit(const Side& side) { return side.forecast.fits ? "fits" : "DOES NOT FIT"; }

    QString label(const Pair& pair) const {
        return pair.after < 0 ? before.manifest[pair.before].label()
                              : after.manifest[pair.after].label();
    }

    // What is offered on neither side concerns nobody; what is offered on both changes with its
    // package.
    bool isChanged(const Pair& pair) const {
        return before.decision(pair.before) != after.decision(pair.after) ||
               (pair.isOtherPackage && after.decision(pair.after) != Decision::NotOffered);
    }

    const Side& before;
    const Side& after;
    QList<Pair> changes;
    QStringList gone;
    QStringList come;
};

} // namespace

int diffVerb(const QCommandLineParser& arguments) {
    const QStringList files = arguments.positionalArguments();
    QString problem;
    Side before;
    Side after;
    for (const auto& [side, file] : {std::pair(&before, files[0]), std::pair(&after, files[1])}) {
        auto manifest = readManifest(file, problem);
        if (!manifest)
            return fail(problem);
        side->manifest = std::move(*manifest);
    }
    const auto snapshots = readSnapshots(files.mid(2), problem);
    if (!snapshots)
        return fail(problem);

    const QList<Pair> pairs = pairUp(before.manifest, after.manifest);
    const bool json = arguments.isSet("json");
    if (json)
        print(QString("{\"format\":\"zelplan-diff\",\"formatVersion\":1,\"changedMachines\":["));
    Progress progress("machines", snapshots->size());
    qsizetype changed = 0;
    for (qsizetype i = 0; i < snapshots->size(); ++i) {
        const Snapshot& snapshot = snapshots->at(i);
        before.forecast = forecast(before.manifest, snapshot);
        after.forecast = forecast(after.manifest, snapshot);
        const Comparison comparison(before, after, pairs);
        if (!comparison.isEmpty()) {
            ++changed;
            if (json) {
                print(QString(changed == 1 ? "\n" : ",\n"));
                print(comparison.toJson(snapshot));
            } else {
                progress.hide();
                comparison.printText(snapshot);
            }
        }
        progress.show(i + 1);
    }
    progress.hide();
    print(json ? QString("\n],\"machines\":%1}\n").arg(snapshots->size())
               : QString("The offer changes on %1 of %2 machines.\n")
                     .arg(changed)
                     .arg(snapshots->size()));
    return finish(changed > 0 ? Found : Clean);
}
