#include "Report.h"

#include "Console.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QSet>
#include <algorithm>

namespace {

// How many findings are in a state, and of a severity if one is given.
qsizetype count(const Manifest& manifest, Finding::State state,
                std::optional<Severity> severity = {}) {
    return std::count_if(manifest.findings.begin(), manifest.findings.end(), [&](const Finding& f) {
        return f.state == state && f.severity == severity.value_or(f.severity);
    });
}

// Where the file is for who reads the report: a path as it was given, or a whole address.
QString uriOf(const QString& file) {
    if (file.startsWith('/'))
        return QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded);
    return QUrl::toPercentEncoding(file, "/");
}

QJsonObject message(const QString& text) {
    return {{"text", text}};
}

void printFinding(const Manifest& manifest, const Finding& finding) {
    QString product;
    if (finding.product >= 0)
        product = QString("product %1%2: ")
                      .arg(finding.product + 1)
                      .arg(printable(", " + manifest.labelOf(finding), 60));
    print(QString("%1:%2: %3: %4%5 [%6]\n    the installer %7\n    to mend it: %8\n")
              .arg(printable(manifest.file), QString::number(finding.line),
                   nameOf(finding.severity), product, finding.what, finding.kind->name,
                   finding.effect, finding.remedy));
}

QJsonObject toJson(const Manifest& manifest, const Finding& finding) {
    static const char* const states[] = {"new", "known", "allowed"};
    return {{"line", finding.line},
            {"product", finding.product < 0 ? QJsonValue() : QJsonValue(finding.product)},
            {"label", manifest.labelOf(finding)},
            {"severity", nameOf(finding.severity)},
            {"kind", finding.kind->name},
            {"what", finding.what},
            {"effect", "the installer " + finding.effect},
            {"remedy", finding.remedy},
            {"state", states[finding.state]}};
}

QJsonObject toSarif(const Manifest& manifest, const Finding& finding) {
    const QString subject = finding.product < 0 ? "" : manifest.labelOf(finding) + ": ";
    const QJsonObject place{
        {"artifactLocation", QJsonObject{{"uri", uriOf(manifest.file)}}},
        {"region", QJsonObject{{"startLine", finding.line}}},
    };
    QJsonObject result{
        {"ruleId", finding.kind->name},
        {"level", nameOf(finding.severity)},
        {"message", message(QString("%1%2. The installer %3. To mend it: %4.")
                                .arg(subject, finding.what, finding.effect, finding.remedy))},
        {"locations", QJsonArray{QJsonObject{{"physicalLocation", place}}}},
        {"baselineState", finding.state == Finding::Known ? "unchanged" : "new"},
    };
    if (finding.state == Finding::Allowed)
        result["suppressions"] = QJsonArray{QJsonObject{{"kind", "external"}}};
    return result;
}

} // namespace

void printText(const QList<Manifest>& manifests) {
    for (const Manifest& manifest : manifests) {
        for (const Finding& finding : manifest.findings) {
            if (finding.state == Finding::New)
                printFinding(manifest, finding);
        }
        QStringList counts{counted(count(manifest, Finding::New, Severity::Error), "error"),
                           counted(count(manifest, Finding::New, Severity::Warning), "warning"),
                           counted(count(manifest, Finding::New, Severity::Note), "note")};
        if (const qsizetype known = count(manifest, Finding::Known))
            counts << QString("%1 known from the older manifest (--all shows them)").arg(known);
        if (const qsizetype allowed = count(manifest, Finding::Allowed))
            counts << QString("%1 allowed").arg(allowed);
        const QString page =
            manifest.successUrl ? addressText(*manifest.successUrl) : QString("the built-in page");
        print(QString("%1: %2: %3\n    the installer %4\n")
                  .arg(printable(manifest.file), manifest.passes ? "passes" : "FAILS",
                       counts.join(", "),
                       manifest.accepted
                           ? QString("reads %1 and opens %2 at the end")
                                 .arg(counted(manifest.products.size(), "product"), printable(page))
                           : QString("refuses the manifest")));
    }
}

void printJson(const QList<Manifest>& manifests) {
    QJsonArray list;
    bool passed = true;
    for (const Manifest& manifest : manifests) {
        QJsonArray findings;
        for (const Finding& finding : manifest.findings)
            findings << toJson(manifest, finding);
        list << QJsonObject{
            {"manifest", manifest.file},
            {"accepted", manifest.accepted},
            {"products", manifest.products.size()},
            {"successAddress", addressText(manifest.successUrl.value_or(QUrl()))},
            {"findings", findings},
            {"errors", count(manifest, Finding::New, Severity::Error)},
            {"warnings", count(manifest, Finding::New, Severity::Warning)},
            {"notes", count(manifest, Finding::New, Severity::Note)},
            {"known", count(manifest, Finding::Known)},
            {"allowed", count(manifest, Finding::Allowed)},
            {"passed", manifest.passes},
        };
        passed &= manifest.passes;
    }
    print(QJsonObject{{"format", "zelplan-check"},
                      {"formatVersion", 2},
                      {"manifests", list},
                      {"passed", passed}});
    print(QString("\n"));
}

void printSarif(const QList<Manifest>& manifests, const QString& problem) {
    QSet<const Kind*> found;
    QJsonArray results;
    for (const Manifest& manifest : manifests) {
        for (const Finding& finding : manifest.findings) {
            results << toSarif(manifest, finding);
            found << finding.kind;
        }
    }
    QJsonArray rules;
    for (const Kind* kind : std::as_const(found))
        rules << QJsonObject{
            {"id", kind->name},
            {"shortDescription", message(QString(kind->name).replace('-', ' '))},
            {"help", message(QString("To mend it: %1.").arg(kind->remedy))},
            {"defaultConfiguration", QJsonObject{{"level", nameOf(kind->severity)}}},
        };
    QJsonObject invocation{{"executionSuccessful", problem.isEmpty()}};
    if (!problem.isEmpty())
        invocation["toolExecutionNotifications"] =
            QJsonArray{QJsonObject{{"level", "error"}, {"message", message(problem)}}};
    const QJsonObject driver{
        {"name", "zelplan"}, {"version", QCoreApplication::applicationVersion()}, {"rules", rules}};
    print(QJsonObject{
        {"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
        {"version", "2.1.0"},
        {"runs", QJsonArray{QJsonObject{{"tool", QJsonObject{{"driver", driver}}},
                                        {"invocations", QJsonArray{invocation}},
                                        {"results", results}}}},
    });
    print(QString("\n"));
}
