#include "AddressProbe.h"
#include "Console.h"
#include "ManifestChecks.h"
#include "Verbs.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>

namespace {

QString nameOf(Severity severity) {
    switch (severity) {
    case Severity::Error:
        return "error";
    case Severity::Warning:
        return "warning";
    default:
        return "note";
    }
}

struct Report {
    QString file;
    bool accepted = false;
    QList<ZelManifestElement> products;
    std::optional<QUrl> successUrl;
    QList<Finding> findings;

    qsizetype count(Severity severity) const {
        return std::count_if(findings.begin(), findings.end(), [severity](const Finding& finding) {
            return finding.severity == severity;
        });
    }
    QString labelOf(const Finding& finding) const {
        return finding.product < 0 ? QString() : products[finding.product].label();
    }
};

void printText(const Report& report) {
    for (const Finding& finding : report.findings) {
        const QString product = finding.product < 0
                                    ? QString()
                                    : QString("product %1, %2: ")
                                          .arg(finding.product + 1)
                                          .arg(printable(report.labelOf(finding), 60));
        print(QString("%1:%2: %3: %4%5 [%6]\n")
                  .arg(printable(report.file), QString::number(finding.line),
                       nameOf(finding.severity), product, finding.what, finding.kind));
        print(QString("    the installer %1\n    to mend it: %2\n")
                  .arg(finding.effect, finding.remedy));
    }
    const QString success =
        report.successUrl ? "opens " + printable(addressText(*report.successUrl)) + " at the end"
                          : QString("opens its built-in page at the end");
    print(report.accepted ? QString("The installer reads %1 products and %2.\n")
                                .arg(report.products.size())
                                .arg(success)
                          : QString("The installer refuses the manifest.\n"));
    print(QString("errors: %1, warnings: %2, notes: %3\n")
              .arg(report.count(Severity::Error))
              .arg(report.count(Severity::Warning))
              .arg(report.count(Severity::Note)));
}

void printJson(const Report& report) {
    QJsonArray findings;
    for (const Finding& finding : report.findings) {
        findings << QJsonObject{
            {"line", finding.line},
            {"product", finding.product < 0 ? QJsonValue() : QJsonValue(finding.product)},
            {"label", finding.product < 0 ? QJsonValue() : QJsonValue(report.labelOf(finding))},
            {"severity", nameOf(finding.severity)},
            {"kind", finding.kind},
            {"what", finding.what},
            {"effect", "the installer " + finding.effect},
            {"remedy", finding.remedy},
        };
    }
    print(QJsonObject{
        {"format", "zelplan-check"},
        {"formatVersion", 1},
        {"manifest", report.file},
        {"accepted", report.accepted},
        {"products", report.products.size()},
        {"successAddress",
         report.successUrl ? QJsonValue(addressText(*report.successUrl)) : QJsonValue()},
        {"findings", findings},
        {"errors", report.count(Severity::Error)},
        {"warnings", report.count(Severity::Warning)},
        {"notes", report.count(Severity::Note)},
    });
    print(QString("\n"));
}

} // namespace

int checkVerb(const QCommandLineParser& arguments) {
    const QString path = arguments.positionalArguments().first();
    bool isNumber = false;
    const int timeout = arguments.value("timeout").toInt(&isNumber);
    if (!isNumber || timeout < 1 || timeout > 3600)
        return fail("--timeout takes a number of seconds from 1 to 3600");

    QString problem;
    Report report;
    report.file = path;
    ManifestInspector inspector(report.products);
    if (!readManifest(path, inspector, problem))
        return fail(problem);
    if (!inspector.isManifest)
        return fail(path + ": not a manifest: there is no product in it");
    report.accepted = !inspector.refused;
    report.successUrl = inspector.successUrl;

    ManifestChecks checks(report.products, inspector.notes);
    checks.checkAll();
    if (arguments.isSet("against")) {
        const auto older = readManifest(arguments.value("against"), problem);
        if (!older)
            return fail(problem);
        checks.compareWith(*older);
    }
    report.findings = inspector.findings + checks.findings;
    if (arguments.isSet("probe")) {
        AddressProbe probe(report.products, inspector.notes, timeout * 1000);
        probe.run();
        report.findings += probe.findings;
    }
    std::stable_sort(report.findings.begin(), report.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });

    if (arguments.isSet("json"))
        printJson(report);
    else
        printText(report);
    return finish(report.findings.size() > report.count(Severity::Note) ? Found : Clean);
}
