#include "Console.h"
#include "Forecast.h"
#include "Manifest.h"
#include "Verbs.h"
#include "core/ZelTexts.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QJsonObject toJson(const Snapshot& snapshot, const Forecast& forecast) {
    QJsonArray decisions;
    for (int i = 0; i < forecast.decisions.size(); ++i)
        decisions << QJsonObject{{"product", i},
                                 {"decision", nameOf(forecast.decisions[i])},
                                 {"reason", forecast.offer.reasons.value(i)}};
    return {{"snapshot", snapshot.file},
            {"freeBytes", snapshot.freeBytes},
            {"offer", toJson(forecast)},
            {"decisions", decisions}};
}

QStringList row(const ZelManifestElement& element, int index, const Forecast& forecast) {
    return {nameOf(forecast.decisions[index]), printable(element.label(), 60),
            printable(element.BuildID, 12), ZelHumanBytes(element.FileSize),
            printable(forecast.offer.reasons.value(index))};
}

void printText(const QList<ZelManifestElement>& manifest, const Snapshot& snapshot,
               const Forecast& forecast) {
    Table table({2, 3});
    table.add({"DECISION", "PRODUCT", "BUILD", "SIZE", "REASON"});
    // In the order of the page, then what it does not have.
    for (const int index : forecast.offer.chosen + forecast.offer.hidden)
        table.add(row(manifest[index], index, forecast));
    for (int i = 0; i < manifest.size(); ++i) {
        if (forecast.decisions[i] == Decision::NotOffered)
            table.add(row(manifest[i], i, forecast));
    }

    print(printable(snapshot.file) + '\n');
    if (!forecast.installProblem.isEmpty())
        print("  The user is told that nothing can be installed: " +
              printable(forecast.installProblem, 500) + '\n');
    print(table.toString("  "));
    if (!forecast.issues.isEmpty())
        print(QString("  The user reads:\n"));
    for (const QString& issue : forecast.issues)
        print("  - " + printable(issue, 500) + '\n');
    print(QString("  %1 of %2 proposed; twice their size is %3, free are %4: %5\n\n")
              .arg(forecast.offer.chosen.size())
              .arg(manifest.size())
              .arg(ZelHumanBytes(forecast.needed), ZelHumanBytes(snapshot.freeBytes),
                   forecast.fits ? "they fit" : "THEY DO NOT FIT"));
}

} // namespace

int offerVerb(const QCommandLineParser& arguments, QString& problem) {
    const QStringList files = arguments.positionalArguments();
    const auto manifest = readManifest(files.first(), problem);
    if (!manifest)
        return Unreadable;
    const auto snapshots = readSnapshots(files.mid(1), problem);
    if (!snapshots)
        return Unreadable;

    // Written machine by machine: thousands of products times machines would not fit in memory.
    const bool json = arguments.isSet("json");
    if (json) {
        print(QString("{\"format\":\"zelplan-offer\",\"formatVersion\":2,\"manifest\":"));
        print(QJsonValue(manifest->file));
        QJsonArray products; // what is the same for all machines is listed once
        for (const ZelManifestElement& element : manifest->products)
            products << toJson(element);
        print(QString(",\n\"products\":"));
        print(products);
        print(QString(",\n\"machines\":["));
    }
    int status = Clean;
    for (qsizetype i = 0; i < snapshots->size(); ++i) {
        const Snapshot& snapshot = snapshots->at(i);
        const Forecast result = forecast(manifest->products, snapshot);
        if (result.isDeadEnd())
            status = Found;
        if (json) {
            print(QString(i == 0 ? "\n" : ",\n"));
            print(toJson(snapshot, result));
        } else {
            printText(manifest->products, snapshot, result);
        }
    }
    if (json)
        print(QString("\n]}\n"));
    return status;
}
