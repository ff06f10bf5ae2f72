#include "ManifestChecks.h"
#include "Report.h"
#include "Verbs.h"

#include <algorithm>

int checkVerb(const QCommandLineParser& arguments, QString& problem) {
    bool isNumber = false;
    const int timeout = arguments.value("timeout").toInt(&isNumber);
    if (!isNumber || timeout < 1 || timeout > 3600)
        problem = "--timeout takes a number of seconds from 1 to 3600";
    const QString failOn = arguments.value("fail-on");
    if (failOn != "error" && failOn != "warning")
        problem = "--fail-on takes error or warning";
    const QStringList allowed = arguments.values("allow");
    for (const QString& text : allowed) {
        const QString kind = text.section('=', 0, 0);
        if (!findKind(kind))
            problem = QString("--allow: there is no kind \"%1\"").arg(kind);
    }
    std::optional<Manifest> older;
    if (problem.isEmpty() && arguments.isSet("against")) {
        older = inspectManifest(arguments.value("against"), problem);
        if (older && older->products.isEmpty())
            problem = older->file + ": there is no product to compare with";
        else if (older)
            checkManifest(*older, nullptr);
    }
    if (!problem.isEmpty())
        return Unreadable;

    const Severity least = failOn == "error" ? Severity::Error : Severity::Warning;
    QList<Manifest> manifests;
    int status = Clean;
    for (const QString& path : arguments.positionalArguments()) {
        std::optional<Manifest> manifest = inspectManifest(path, problem);
        if (!manifest)
            return Unreadable;
        checkManifest(*manifest, older ? &*older : nullptr);
        if (arguments.isSet("probe"))
            probeAddresses(*manifest, timeout * 1000);
        for (Finding& finding : manifest->findings) {
            if (arguments.isSet("all"))
                finding.state = Finding::New;
            const QString kind = finding.kind->name;
            if (allowed.contains(kind) || allowed.contains(kind + '=' + manifest->labelOf(finding)))
                finding.state = Finding::Allowed;
        }
        std::stable_sort(manifest->findings.begin(), manifest->findings.end(),
                         [](const Finding& a, const Finding& b) { return a.line < b.line; });
        manifest->passes = std::none_of(
            manifest->findings.begin(), manifest->findings.end(), [&](const Finding& finding) {
                return finding.state == Finding::New && finding.severity >= least;
            });
        if (!manifest->passes)
            status = Found;
        manifests << std::move(*manifest);
    }
    if (arguments.isSet("sarif"))
        printSarif(manifests, QString());
    else if (arguments.isSet("json"))
        printJson(manifests);
    else
        printText(manifests);
    return status;
}
