// zelplan: what the installer would offer, without running it. See docs/zelplan.md.

#include "Console.h"
#include "Report.h"
#include "Snapshot.h"
#include "Verbs.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QSaveFile>
#include <cstdio>

namespace {

struct Verb {
    QString name;
    QString files;
    QString description;
    qsizetype least; // number of files; 0 stands for none at all
    QList<QCommandLineOption> options;
    int (*run)(const QCommandLineParser& arguments, QString& problem);
};

const QList<Verb>& verbs() {
    const QCommandLineOption json("json", "Print JSON, whatever the outcome.");
    static const QList<Verb> list{
        {"snapshot",
         "",
         "Write down what the installer finds on this machine. Exit status 0.",
         0,
         {{{"o", "output"}, "Write to <file> in place of standard output.", "file"},
          {"profiler", "Run <program> in place of the system profiler.", "program"},
          json},
         snapshotVerb},
        {"offer",
         "MANIFEST SNAPSHOT...",
         "Tell what the selection page shows on each machine. Exit status 1 when a machine is "
         "proposed nothing, has no room for it, or cannot install it, else 0.",
         2,
         {json},
         offerVerb},
        {"check",
         "MANIFEST...",
         "Tell what in a manifest is hardly meant. Exit status 1 when a manifest has findings "
         "that --fail-on asks for, else 0.",
         1,
         {{"against",
           "Also tell what changed for the worse since <older>; what that has too "
           "does not count.",
           "older"},
          {"all", "With --against: what <older> has too counts as well."},
          {"allow",
           "Findings of this kind do not count, with a label only those about that "
           "product. May be given several times.",
           "kind[=label]"},
          {"fail-on", "Least <severity> that counts: error, or warning unless told.", "severity",
           "warning"},
          {"probe", "Also ask each download address."},
          {"timeout", "Seconds that a server has to answer, 10 unless told.", "seconds", "10"},
          json,
          {"sarif", "Print SARIF 2.1.0, whatever the outcome."}},
         checkVerb},
        {"diff",
         "OLD NEW SNAPSHOT...",
         "Tell whose offer changes from one manifest to the other, and how. Exit status 1 when one "
         "does, else 0.",
         3,
         {json},
         diffVerb},
    };
    return list;
}

// The verb with all its options.
QString usage(const Verb& verb) {
    QString text = "Usage: zelplan " + verb.name;
    for (const QCommandLineOption& option : verb.options) {
        const QString value = option.valueName();
        text += QString(" [--%1%2]")
                    .arg(option.names().constLast(), value.isEmpty() ? value : " <" + value + '>');
    }
    return text + ' ' + verb.files;
}

QString overview() {
    QString text = "Usage: zelplan VERB [OPTIONS] FILES\n\n";
    Table table({});
    for (const Verb& verb : verbs())
        table.add({verb.name + ' ' + verb.files, verb.description.section(". ", 0, 0) + '.'});
    return text + table.toString("  ") +
           "\nzelplan VERB --help tells more. \"-\" is standard input. --json makes every verb "
           "print JSON.\nExit status 2: bad usage or input.\n";
}

int complain(const QString& text) {
    std::fprintf(stderr, "zelplan: %s\n", printable(text, 500).toUtf8().constData());
    return Unreadable;
}

// What is asked for cannot be done. Who reads the output by program learns it there too.
int fail(const QString& text) {
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.contains("--sarif")) {
        printSarif({}, text);
    } else if (arguments.contains("--json")) {
        print(QJsonObject{{"format", "zelplan-error"}, {"formatVersion", 1}, {"error", text}});
        print(QString("\n"));
    }
    return complain(text);
}

int runVerb(const Verb& verb, const QStringList& arguments) {
    QCommandLineParser parser;
    QString description = verb.description + " Exit status 2 for bad usage or input.";
    parser.setApplicationDescription(description.replace(". ", ".\n"));
    const QCommandLineOption help({"h", "help"}, "Print this.");
    parser.addOptions(verb.options + QList{help});
    if (!parser.parse(QStringList{verb.name} + arguments))
        return fail(parser.errorText());
    if (parser.isSet(help)) {
        // Qt's own first line would begin with the program's path.
        print(usage(verb) + '\n' + parser.helpText().section('\n', 1));
        return Clean;
    }
    const qsizetype count = parser.positionalArguments().size();
    if (verb.least == 0 ? count > 0 : count < verb.least)
        return fail(usage(verb).trimmed());
    QString problem;
    const int status = verb.run(parser, problem);
    return problem.isEmpty() ? status : fail(problem);
}

int run(const QStringList& arguments) {
    const QString name = arguments.value(1);
    if (name == "--help" || name == "-h" || name == "help") {
        print(overview());
        return Clean;
    }
    if (name == "--version") {
        print(QString("zelplan %1\n").arg(QCoreApplication::applicationVersion()));
        return Clean;
    }
    for (const Verb& verb : verbs()) {
        if (verb.name == name)
            return runVerb(verb, arguments.mid(2));
    }
    return fail((name.isEmpty() ? QString("no verb") : "unknown verb " + quoted(name)) +
                "; zelplan --help lists the verbs");
}

} // namespace

int snapshotVerb(const QCommandLineParser& arguments, QString& problem) {
    const QByteArray json = snapshotToJson(takeSnapshot(arguments.value("profiler")));
    if (!arguments.isSet("output")) {
        print(QString::fromUtf8(json));
        return Clean;
    }
    QSaveFile file(arguments.value("output"));
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.commit())
        problem = QString("%1: %2").arg(file.fileName(), file.errorString());
    return problem.isEmpty() ? Clean : Unreadable;
}

int main(int argc, char** argv) {
    // The rules' own messages are for the installer's log; here they would cover the output.
    QLoggingCategory::setFilterRules("*.debug=false\n*.warning=false");
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("zelplan");
    QCoreApplication::setApplicationVersion(ZEL_PLAN_VERSION);

    const int status = run(app.arguments());
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return status;
    return complain("the output could not be written");
}
