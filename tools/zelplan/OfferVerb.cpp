#include "Console.h"
#include "Forecast.h"
#include "ManifestInspector.h"
#include "Verbs.h"
#include "core/ZelTexts.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

// What is the same for all machines is listed once.
QJsonArray toJson(const QList<ZelManifestElement>& manifest) {
    QJsonArray products;
    for (const ZelManifestElement& element : manifest) {
        int build = 0;
        element.GetBuildId(build);
        products << QJsonObject{
            {"label", element.label()},
            {"name", element.Name},
            {"build", build},
            {"size", element.FileSize},
            {"address", addressText(element.DownloadURL)},
            {"eligible", element.EligibleCommunityDownload},
        };
    }
    return products;
}

QJsonObject toJson(const Snapshot& snapshot, const Forecast& forecast) {
    QJsonArray decisions;
    for (int i = 0; i < forecast.decisions.size(); ++i)
        decisions << QJsonObject{{"product", i},
                                 {"decision", nameOf(forecast.decisions[i])},
                                 {"reason", forecast.offer.reasons.value(i)}};
    QJsonArray rows;
    for (const int index : forecast.offer.chosen)
        rows << index;
    return {
        {"snapshot", snapshot.file},
        {"decisions", decisions},
        {"proposedInOrder", rows},
        {"explanations", QJsonArray::fromStringList(forecast.issues)},
        {"installProblem",
         forecast.installProblem.isEmpty() ? QJsonValue() : QJsonValue(forecast.installProblem)},
        {"neededBytes", forecast.needed},
        {"freeBytes", snapshot.freeBytes},
        {"fits", forecast.fits},
    };
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

int offerVerb(const QCommandLineParser& arguments) {
    const QStringList files = arguments.positionalArguments();
    QString problem;
    const auto manifest = readManifest(files.first(), problem);
    if (!manifest)
        return fail(problem);
    const auto snapshots = readSnapshots(files.mid(1), problem);
    if (!snapshots)
        return fail(problem);

    // Written machine by machine: thousands of products times machines would not fit in memory.
    const bool json = arguments.isSet("json");
    if (json) {
        print(QString("{\"format\":\"zelplan-offer\",\"formatVersion\":1,\"manifest\":"));
        print(QJsonValue(files.first()));
        print(QString(",\n\"products\":"));
        print(toJson(*manifest));
        print(QString(",\n\"machines\":["));
    }
    Progress progress("machines", snapshots->size());
    int status = Clean;
    for (qsizetype i = 0; i < snapshots->size(); ++i) {
        const Snapshot& snapshot = snapshots->at(i);
        const Forecast result = forecast(*manifest, snapshot);
        if (result.isDeadEnd())
            status = Found;
        if (json) {
            print(QString(i == 0 ? "\n" : ",\n"));
            print(toJson(snapshot, result));
        } else {
            progress.hide();
            printText(*manifest, snapshot, result);
        }
        progress.show(i + 1);
    }
    if (json)
        print(QString("\n]}\n"));
    return finish(status);
}
