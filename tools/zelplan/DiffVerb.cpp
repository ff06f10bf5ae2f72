#include "Console.h"
#include "Forecast.h"
#include "Manifest.h"
#include "Verbs.h"
#include "core/ZelTexts.h"

#include <QJsonArray>

namespace {

// The same product in both manifests: -1 and nothing where one does not have it.
struct Pair {
    int before = -1;
    int after = -1;
    QJsonObject old;
    QJsonObject now;
    QStringList changed; // names of what differs in the package
};

QList<Pair> pairUp(const QList<ZelManifestElement>& before,
                   const QList<ZelManifestElement>& after) {
    QList<Pair> pairs;
    for (int i = 0; i < before.size(); ++i)
        pairs << Pair{i, -1, toJson(before[i]), {}, {}};
    const QList<int> partners = findPartners(before, after);
    for (int i = 0; i < after.size(); ++i) {
        if (partners[i] < 0)
            pairs << Pair();
        Pair& pair = partners[i] < 0 ? pairs.last() : pairs[partners[i]];
        pair.after = i;
        pair.now = toJson(after[i]);
        for (const QString& name : pair.now.keys()) {
            if (partners[i] >= 0 && pair.old[name] != pair.now[name])
                pair.changed << name;
        }
    }
    return pairs;
}

struct Side {
    QList<ZelManifestElement> products;
    Forecast forecast;

    Decision decision(int index) const {
        return index < 0 ? Decision::NotOffered : forecast.decisions[index];
    }
    // The record with the decision.
    QJsonObject complete(QJsonObject json, int index) const {
        json["decision"] = index < 0 ? QString("not in the manifest") : nameOf(decision(index));
        if (index >= 0)
            json["reason"] = forecast.offer.reasons.value(index);
        return json;
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
    }

    bool isEmpty() const {
        return changes.isEmpty() && before.forecast.issues == after.forecast.issues &&
               before.forecast.fits == after.forecast.fits;
    }

    void printText(const Snapshot& snapshot) const {
        print(printable(snapshot.file) + '\n');
        for (const Pair& pair : changes) {
            const QJsonObject old = before.complete(pair.old, pair.before);
            const QJsonObject now = after.complete(pair.now, pair.after);
            const bool moves = old["decision"] != now["decision"];
            print(QString("  %1%2\n")
                      .arg(printable(label(pair), 60),
                           moves ? QString()
                                 : QString(", %1 as before").arg(now["decision"].toString())));
            Table table({0});
            for (const QString& name :
                 (moves ? QStringList{"decision", "reason"} : QStringList()) + pair.changed) {
                if (old.contains(name))
                    table.add({name, printable(old[name].toVariant().toString(), 500)});
                if (now.contains(name))
                    table.add({old.contains(name) ? "->" : name,
                               printable(now[name].toVariant().toString(), 500)});
            }
            print(table.toString("    "));
        }
        tell("no longer told", before.forecast.issues, after.forecast.issues);
        tell("newly told", after.forecast.issues, before.forecast.issues);
        print(QString("  room needed: %1 before (%2), %3 after (%4); free are %5\n\n")
                  .arg(ZelHumanBytes(before.forecast.needed), fit(before),
                       ZelHumanBytes(after.forecast.needed), fit(after),
                       ZelHumanBytes(snapshot.freeBytes)));
    }

    QJsonObject toJson(const Snapshot& snapshot) const {
        QJsonArray products;
        for (const Pair& pair : changes)
            products << QJsonObject{{"label", label(pair)},
                                    {"changed", QJsonArray::fromStringList(pair.changed)},
                                    {"before", before.complete(pair.old, pair.before)},
                                    {"after", after.complete(pair.now, pair.after)}};
        return {{"snapshot", snapshot.file},
                {"freeBytes", snapshot.freeBytes},
                {"offer", ::toJson(after.forecast)},
                {"offerBefore", ::toJson(before.forecast)},
                {"changes", products}};
    }

private:
    static QString fit(const Side& side) { return side.forecast.fits ? "fits" : "DOES NOT FIT"; }

    static void tell(const QString& what, const QStringList& issues, const QStringList& others) {
        for (const QString& issue : issues) {
            if (!others.contains(issue))
                print(QString("  %1: %2\n").arg(what, printable(issue, 500)));
        }
    }

    static QString label(const Pair& pair) {
        return (pair.after < 0 ? pair.old : pair.now)["label"].toString();
    }

    // What is offered on neither side concerns nobody; what is offered on both changes with its
    // package.
    bool isChanged(const Pair& pair) const {
        return before.decision(pair.before) != after.decision(pair.after) ||
               (!pair.changed.isEmpty() && after.decision(pair.after) != Decision::NotOffered);
    }

    const Side& before;
    const Side& after;
    QList<Pair> changes;
};

} // namespace

int diffVerb(const QCommandLineParser& arguments, QString& problem) {
    const QStringList files = arguments.positionalArguments();
    const auto older = readManifest(files[0], problem);
    const auto newer = older ? readManifest(files[1], problem) : std::nullopt;
    const auto snapshots = newer ? readSnapshots(files.mid(2), problem) : std::nullopt;
    if (!snapshots)
        return Unreadable;

    Side before{older->products, {}};
    Side after{newer->products, {}};
    const QList<Pair> pairs = pairUp(before.products, after.products);
    const bool json = arguments.isSet("json");
    if (json)
        print(QString("{\"format\":\"zelplan-diff\",\"formatVersion\":2,\"machines\":["));
    qsizetype changed = 0;
    for (qsizetype i = 0; i < snapshots->size(); ++i) {
        const Snapshot& snapshot = snapshots->at(i);
        before.forecast = forecast(before.products, snapshot);
        after.forecast = forecast(after.products, snapshot);
        const Comparison comparison(before, after, pairs);
        if (!comparison.isEmpty())
            ++changed;
        if (json) {
            print(QString(i == 0 ? "\n" : ",\n"));
            print(comparison.toJson(snapshot));
        } else if (!comparison.isEmpty()) {
            comparison.printText(snapshot);
        }
    }
    print(json ? QString("\n],\"changedMachines\":%1}\n").arg(changed)
               : QString("The offer changes on %1 of %2.\n")
                     .arg(changed)
                     .arg(counted(snapshots->size(), "machine")));
    return changed > 0 ? Found : Clean;
}
