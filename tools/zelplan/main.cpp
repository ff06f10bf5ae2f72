// zelplan: what the installer would offer, without running it. See docs/zelplan.md.

#include "Console.h"
#include "Snapshot.h"
#include "Verbs.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QSaveFile>
#include <clocale>
#include <limits>

namespace {

struct Verb {
    QString name;
    QString syntax;
    QString description;
    qsizetype minimum; // of arguments
    qsizetype maximum;
    QList<QCommandLineOption> options;
    int (*run)(const QCommandLineParser& arguments);
};

const QList<Verb>& verbs() {
    constexpr qsizetype any = std::numeric_limits<qsizetype>::max();
    static const QList<Verb> list{
        {"snapshot",
         "[-o FILE]",
         "Write down what the installer finds on this machine. Exit status 0.",
         0,
         0,
         {{{"o", "output"}, "Write to <file> in place of standard output.", "file"},
          {"profiler", "Run <program> in place of the system profiler.", "program"}},
         snapshotVerb},
        {"offer",
         "MANIFEST SNAPSHOT...",
         "Tell what the selection page shows on each machine. Exit status 1 when a machine is "
         "proposed nothing, has no room for it, or cannot install it, else 0.",
         2,
         any,
         {},
         offerVerb},
        {"check",
         "MANIFEST",
         "Tell what in a manifest is hardly meant. Exit status 1 when there are errors or "
         "warnings, 0 when there are none or only notes.",
         1,
         1,
         {{"against", "Also report builds that are lower than in <older>.", "older"},
          {"probe", "Also ask each download address."},
          {"timeout", "Seconds that a server has to answer, 10 unless told.", "seconds", "10"}},
         checkVerb},
        {"diff",
         "OLD NEW SNAPSHOT...",
         "Tell on which machines the offer changes from one manifest to the other, and how. Exit "
         "status 1 when it does on any, else 0.",
         3,
         any,
         {},
         diffVerb},
    };
    return list;
}

int runVerb(const Verb& verb, const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(verb.description + " Exit status 2 for bad input.");
    const QCommandLineOption help = parser.addHelpOption();
    parser.addOption({"json", "Print JSON."});
    parser.addOptions(verb.options);
    const QStringList command{QCoreApplication::applicationName() + ' ' + verb.name};
    if (!parser.parse(command + arguments))
        return fail(parser.errorText());
    if (parser.isSet(help)) {
        parser.addPositionalArgument(verb.name, QString(), verb.name + ' ' + verb.syntax);
        print(parser.helpText());
        return finish(Clean);
    }
    const qsizetype count = parser.positionalArguments().size();
    if (count < verb.minimum || count > verb.maximum)
        return fail(QString("usage: zelplan %1 %2 [--json]").arg(verb.name, verb.syntax));
    return verb.run(parser);
}

QString usage() {
    QString text = "Usage: zelplan VERB [options]\n\n";
    Table table({});
    for (const Verb& verb : verbs())
        table.add({verb.name + ' ' + verb.syntax, verb.description.section(". ", 0, 0) + '.'});
    return text + table.toString("  ") +
           "\nzelplan VERB --help tells more. --json makes every verb print JSON. Exit status 2: "
           "bad input.\n";
}

} // namespace

int snapshotVerb(const QCommandLineParser& arguments) {
    const QByteArray json = snapshotToJson(takeSnapshot(arguments.value("profiler")));
    if (!arguments.isSet("output")) {
        print(QString::fromUtf8(json));
        return finish(Clean);
    }
    QSaveFile file(arguments.value("output"));
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.commit())
        return fail(QString("%1: %2").arg(file.fileName(), file.errorString()));
    return Clean;
}

int main(int argc, char** argv) {
    // The rules' own messages are for the installer's log; here they would cover the output.
    QLoggingCategory::setFilterRules("*.debug=false\n*.warning=false");
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("zelplan");
    QCoreApplication::setApplicationVersion(ZEL_PLAN_VERSION);
    // The tables are UTF-8 in every locale; their columns are counted accordingly.
    if (!std::setlocale(LC_CTYPE, "C.UTF-8"))
        std::setlocale(LC_CTYPE, "UTF-8");

    const QString name = app.arguments().value(1);
    if (name == "--help" || name == "-h" || name == "help") {
        print(usage());
        return finish(Clean);
    }
    if (name == "--version") {
        print(QString("zelplan %1\n").arg(app.applicationVersion()));
        return finish(Clean);
    }
    for (const Verb& verb : verbs()) {
        if (verb.name == name)
            return runVerb(verb, app.arguments().mid(2));
    }
    return fail(name.isEmpty()
                    ? QString("no verb; zelplan --help lists them")
                    : QString("unknown verb \"%1\"; zelplan --help lists them").arg(name));
}
