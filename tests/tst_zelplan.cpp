// zelplan as a process: the forecast is compared with the selection page itself.

#include "core/ZelDownloadFolder.h"
#include "core/ZelMachineAssay.h"
#include "support/ZelTestSupport.h"
#include "wizard/ZelMainWindow.h"
#include "wizard/ZelSelection.h"

#include <QCheckBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

struct Result {
    int status = -1;
    QByteArray output;
    QByteArray errors;
    QJsonObject json() const { return QJsonDocument::fromJson(output).object(); }
};

Result zelplan(const QStringList& arguments,
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(ZEL_PLAN_PROGRAM, arguments);
    const bool ended =
        QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60000);
    const bool exited = ended && process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

ZelProductHash product(const QString& name, const QString& version, int build = 0) {
    ZelProductHash hash{{"ProductName", name}, {"Version", version}};
    if (build > 0)
        hash["BuildId"] = QString::number(build);
    return hash;
}

QByteArray snapshotJson(const QList<ZelProductHash>& products, qint64 freeBytes) {
    QJsonArray list;
    for (const ZelProductHash& hash : products) {
        QJsonObject fields;
        for (auto field = hash.begin(); field != hash.end(); ++field)
            fields[field.key()] = field.value();
        list << fields;
    }
    return QJsonDocument(QJsonObject{{"format", "zelplan-snapshot"},
                                     {"formatVersion", 1},
                                     {"attributes", QJsonObject{{"platform", "osx"}}},
                                     {"products", list},
                                     {"downloadFolder", "~/Downloads"},
                                     {"freeBytes", freeBytes}})
        .toJson();
}

QByteArray server(const char* version, int build, const QString& url = "https://h.example/s") {
    const QString label = QString("Lumivex FarmServer %1").arg(version);
    return zelProductXml(label + ".pkg", label, build, 1000, url);
}

QByteArray tools(const char* version, const char* maya, int build, bool eligible = true) {
    const QString label = QString("Lumivex Atelier %1 for Maya %2").arg(version, maya);
    return zelProductXml(label + ".pkg", label, build, 2000, "https://h.example/t", eligible);
}

QByteArray other(const QString& label, qint64 size = 3000) {
    return zelProductXml(label + ".pkg", label, 7, size, "https://h.example/o");
}

// A manifest without a fault, one field a line; the tests spoil it.
const QByteArray goodManifest = "<M>\n"
                                "<ProductInfo>\n"
                                "<Name>FarmServer.pkg</Name>\n"
                                "<SimpleName>Lumivex FarmServer 21.0</SimpleName>\n"
                                "<BuildID>1386042</BuildID>\n"
                                "<DownloadURL>https://h.example/f.pkg</DownloadURL>\n"
                                "<FileSize>9</FileSize>\n"
                                "<EligibleCommunityDownload>true</EligibleCommunityDownload>\n"
                                "</ProductInfo>\n"
                                "</M>\n";

QStringList kinds(const QJsonObject& check) {
    QStringList result;
    for (const QJsonValue& finding : check["findings"].toArray())
        result << QString("%1:%2").arg(finding["line"].toInt()).arg(finding["kind"].toString());
    return result;
}

} // namespace

class tst_ZelPlan : public QObject {
    Q_OBJECT

private slots:
    void offersWhatThePageShows_data();
    void offersWhatThePageShows();
    void checkFinds_data();
    void checkFinds();
    void checkComparesBuilds();
    void probeAsksTheServer_data();
    void probeAsksTheServer();
    void diffTellsWhatChanges();
    void snapshotNamesNoUser();
    void refusesBadInput_data();
    void refusesBadInput();

private:
    QString write(const QString& name, const QByteArray& contents) {
        return zelWriteFile(directory.filePath(name), contents);
    }
    QTemporaryDir directory;
};

void tst_ZelPlan::offersWhatThePageShows_data() {
    QTest::addColumn<QByteArrayList>("manifest");
    QTest::addColumn<QList<ZelProductHash>>("machine");
    QTest::addColumn<QStringList>("proposed");
    const ZelProductHash maya2014 = product("Maya", "2014");
    const ZelProductHash maya2016 = product("Maya", "2016.5");
    const QByteArrayList usual{server("20.4", 10), server("21.0", 20), tools("21.0", "2014", 20),
                               tools("21.0", "2016.5", 20), other("Scenes & more")};
    const QString latest = "Lumivex FarmServer 21.0";
    const QString for2014 = "Lumivex Atelier 21.0 for Maya 2014";
    const QString for2016 = "Lumivex Atelier 21.0 for Maya 2016.5";
    const QString scenes = "Scenes & more";
    using Machine = QList<ZelProductHash>;

    QTest::newRow("nothing installed but Maya")
        << usual << Machine{maya2014} << QStringList{latest, for2014, scenes};
    QTest::newRow("no Maya") << usual << Machine{} << QStringList{latest, scenes};
    QTest::newRow("the newest Maya is the one that counts")
        << usual << Machine{maya2014, maya2016} << QStringList{latest, for2016, scenes};
    QTest::newRow("unsupported Mayas")
        << usual << Machine{product("Maya", "2010"), product("Maya", "2011")}
        << QStringList{latest, scenes};
    QTest::newRow("all up to date")
        << usual << Machine{maya2014, product(latest, "21.0", 20), product(for2014, "21.0", 20)}
        << QStringList{scenes};
    QTest::newRow("older builds installed")
        << usual << Machine{maya2014, product(latest, "21.0", 19), product(for2014, "21.0", 19)}
        << QStringList{latest, for2014, scenes};
    QTest::newRow("the last record wins over the highest version")
        << QByteArrayList{server("21.0", 20), server("18.5", 5)} << Machine{}
        << QStringList{"Lumivex FarmServer 18.5"};
    QTest::newRow("no server, an installed product of any version counts")
        << QByteArrayList{tools("21.0", "2014", 20), other(scenes)}
        << Machine{maya2014, product("Lumivex Atelier 19.0 for Maya 2014", "19.0", 20)}
        << QStringList{scenes};
    QTest::newRow("a rule chooses what is otherwise not offered")
        << QByteArrayList{server("21.0", 20, "http://["), tools("21.0", "2014", 20, false),
                          tools("21.0", "2015", 20, false)}
        << Machine{maya2014} << QStringList{latest, for2014};
    QTest::newRow("more than any disk holds")
        << QByteArrayList{server("21.0", 20), other(scenes, qint64(1) << 62)} << Machine{}
        << QStringList{latest, scenes};
}

void tst_ZelPlan::offersWhatThePageShows() {
    QFETCH(const QByteArrayList, manifest);
    QFETCH(const QList<ZelProductHash>, machine);
    QFETCH(const QStringList, proposed);
    const QString manifestFile = write("manifest.xml", zelManifestXml(manifest));

    // The page, on a machine that an assay has found to be this one.
    ZelApp* app = ZelApp::instance();
    app->assay = ZelMachineAssay::Singleton();
    app->assay->products = machine;
    const qint64 freeBytes = app->assay->GetAvailableDisk(*app->GetDownloadDir());
    app->manifestFile = manifestFile;
    ZelBoxDriver driver;
    ZelMainWindow window;
    auto* page = window.findChild<ZelSelection*>();
    app->RequestManifest(QUrl(), QString(), QString(), QString());
    const auto labels = [page] {
        const auto* table = page->findChild<QTableWidget*>("products");
        QStringList result;
        for (int row = 0; row < table->rowCount(); ++row)
            result
                << qobject_cast<QCheckBox*>(table->cellWidget(row, 0))->text().replace("&&", "&");
        return result;
    };
    const QStringList pageProposed = labels();
    page->findChild<QCheckBox*>("showAll")->click();
    const QStringList pageHidden = labels().mid(pageProposed.size());
    const QString explanations = driver.boxes.isEmpty() ? "" : driver.boxes.first().detailedText;
    const bool fits = page->validatePage();

    const Result result = zelplan({"offer", "--json", manifestFile,
                                   write("snapshot.json", snapshotJson(machine, freeBytes))});
    const QJsonObject offer = result.json()["machines"][0].toObject();
    QStringList toolProposed;
    for (const QJsonValue& index : offer["proposedInOrder"].toArray())
        toolProposed << result.json()["products"][index.toInt()]["label"].toString();
    QStringList toolHidden;
    for (const QJsonValue& decision : offer["decisions"].toArray()) {
        QVERIFY2(!decision["reason"].toString().isEmpty(), result.output.constData());
        if (decision["decision"] == "hidden")
            toolHidden
                << result.json()["products"][decision["product"].toInt()]["label"].toString();
    }
    QCOMPARE(pageProposed, proposed);
    QCOMPARE(toolProposed, pageProposed);
    QCOMPARE(toolHidden, pageHidden);
    QCOMPARE(offer["explanations"].toVariant().toStringList().join('\n'), explanations);
    QCOMPARE(offer["fits"].toBool(), fits);
    QCOMPARE(result.status, fits ? 0 : 1);
    QCOMPARE(result.errors, QByteArray());
}

void tst_ZelPlan::checkFinds_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("replacement");
    QTest::addColumn<QStringList>("found"); // line:kind
    QTest::addColumn<int>("status");
    const auto row = [](const char* name, const char* text, const QByteArray& replacement,
                        const QStringList& found, int status = 1) {
        QTest::newRow(name) << QByteArray(text) << replacement << found << status;
    };
    row("good", "</M>", "</M>", {}, 0);
    row("field before the first product", "<M>", "<M><FileSize>1</FileSize>",
        {"1:field-before-product"});
    row("success address before it", "<M>", "<M><ZELSuccessURL>http://h</ZELSuccessURL>",
        {"1:early-success-address"});
    row("empty field", "FarmServer.pkg", "", {"3:swallowed-space", "3:bad-name"});
    row("text in pieces", "FarmServer 21.0", "FarmServer 21.0<!-- --> final", {"4:cut-text"});
    row("text behind an element", "FarmServer.pkg", "<b/>FarmServer.pkg",
        {"2:bad-name", "3:unknown-element", "3:cut-text"});
    row("repeated field", "<FileSize>", "<FileSize>1</FileSize><FileSize>", {"7:repeated-field"});
    row("repeated success address", "</M>",
        "<ZELSuccessURL>h</ZELSuccessURL>\n<ZELSuccessURL>i</ZELSuccessURL></M>",
        {"11:repeated-field"});
    row("field behind its product", "</ProductInfo>", "</ProductInfo><Name>b.pkg</Name>",
        {"9:field-outside-product", "9:repeated-field"});
    row("unknown element", "<FileSize>", "<Note>x</Note><FileSize>", {"7:unknown-element"});
    row("no version", "FarmServer 21.0", "FarmServer 4.0", {"4:no-version"});
    row("no version where none is needed", "Lumivex FarmServer 21.0", "Scenes", {"4:no-version"},
        0);
    row("a piece of a number for a version", "FarmServer 21.0", "FarmServer 4.0 for 2014.5",
        {"4:other-version"});
    row("another number first", "Lumivex", "Lumivex 10.9", {"4:other-version"});
    row("a build that is none", "1386042", "r1386042", {"5:bad-build"});
    row("no size", ">9<", ">-9<", {"7:bad-size"});
    row("address not valid", "h.example", "h.example:x", {"6:bad-address"});
    row("address of no server", "https://h.example/", "", {"6:bad-address"});
    row("address not https", "https", "http", {"6:not-https"});
    row("name with directories", ">FarmServer.pkg", ">../FarmServer.pkg", {"3:bad-name"});
    row("name without .pkg", "FarmServer.pkg", "FarmServer.PKG", {"3:bad-name"});
    row("true misspelt", "true", "True", {"8:not-eligible"});
    row("not eligible on purpose", "true", "false", {}, 0);
    row("name used twice", "</M>",
        other("Scenes 10.0").replace("Scenes 10.0.pkg", "farmserver.pkg"), {"10:duplicate-name"});
    row("the last server wins", "</M>", server("20.0", 9), {"2:replaced"});
    row("the last tools for a Maya win", "</M>",
        tools("20.0", "2014", 1) + tools("21.0", "2014", 2), {"10:replaced"});
    row("tools that no Maya leads to", "</M>", other("Maya Lumivex Atelier 21.0"), {"10:no-maya"});
}

void tst_ZelPlan::checkFinds() {
    QFETCH(const QByteArray, text);
    QFETCH(QByteArray, replacement);
    QFETCH(const QStringList, found);
    QFETCH(const int, status);
    QByteArray manifest = goodManifest;
    QVERIFY(manifest.contains(text));
    if (replacement.startsWith("<ProductInfo>"))
        replacement += text;
    const QString file = write("manifest.xml", manifest.replace(text, replacement));

    const Result result = zelplan({"check", "--json", file});
    QCOMPARE(kinds(result.json()), found);
    QCOMPARE(result.status, status);
    QCOMPARE(result.json()["accepted"].toBool(), !found.contains("1:field-before-product"));
    const Result readable = zelplan({"check", file});
    QCOMPARE(readable.output.count("to mend it: "), found.size());
    QCOMPARE(readable.status, status);
}

void tst_ZelPlan::checkComparesBuilds() {
    const QString older = write("older.xml", goodManifest);
    const QString newer =
        write("newer.xml", QByteArray(goodManifest).replace("1386042", "1386041"));
    QCOMPARE(kinds(zelplan({"check", "--json", "--against", older, newer}).json()),
             QStringList{"5:build-backwards"});
    QCOMPARE(zelplan({"check", "--against", newer, older}).status, 0);
}

void tst_ZelPlan::probeAsksTheServer_data() {
    QTest::addColumn<QByteArray>("head"); // empty when it does not answer at all
    QTest::addColumn<QByteArray>("get");
    QTest::addColumn<QStringList>("found");
    const QByteArray whole = "200 OK\r\nContent-Length: 9\r\n\r\n";
    const QByteArray part =
        "206 Partial\r\nContent-Range: bytes 0-3/9\r\nContent-Length: 4\r\n\r\n";
    const QByteArray refused = "405 No\r\nContent-Length: 0\r\n\r\n";
    const QByteArray html = "200 OK\r\nContent-Type: text/html\r\nContent-Length: 9\r\n\r\n";
    QTest::newRow("good") << whole << part + "xar!" << QStringList{};
    QTest::newRow("HEAD refused") << refused << part + "xar!" << QStringList{};
    QTest::newRow("ranges ignored") << refused << whole + "xar!12345" << QStringList{};
    QTest::newRow("gone") << refused << QByteArray("404 No\r\nContent-Length: 0\r\n\r\n")
                          << QStringList{"6:probe-status"};
    QTest::newRow("other length") << refused << QByteArray(part).replace("/9", "/8") + "xar!"
                                  << QStringList{"6:probe-length"};
    QTest::newRow("web page") << html << html + "<html>..." << QStringList{"6:probe-type"};
    QTest::newRow("no package") << whole << part + "PK34" << QStringList{"6:probe-contents"};
    QTest::newRow("no answer") << QByteArray() << QByteArray()
                               << QStringList{"6:probe-unreachable"};
}

void tst_ZelPlan::probeAsksTheServer() {
    QFETCH(const QByteArray, head);
    QFETCH(const QByteArray, get);
    QFETCH(QStringList, found);
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    connect(&listener, &QTcpServer::newConnection, this, [&] {
        QTcpSocket* socket = listener.nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, socket, [=] {
            const QByteArray request = socket->readAll();
            const QByteArray answer = request.startsWith("HEAD") ? head : get;
            if (request.contains("\r\n\r\n") && !answer.isEmpty())
                socket->write("HTTP/1.1 " + answer);
        });
    });
    const QByteArray address = "http://127.0.0.1:" + QByteArray::number(listener.serverPort());
    const QString file =
        write("manifest.xml", QByteArray(goodManifest).replace("https://h.example", address));

    found.prepend("6:not-https");
    const Result result = zelplan({"check", "--json", "--probe", "--timeout", "1", file});
    QCOMPARE(kinds(result.json()), found);
}

void tst_ZelPlan::diffTellsWhatChanges() {
    const QString before = write("old.xml", zelManifestXml({server("21.0", 20), other("Scenes")}));
    const QString after = write("new.xml", zelManifestXml({server("21.0", 30), other("Models")}));
    const QString bare = write("bare.json", snapshotJson({}, 1000000));
    const QString full =
        write("full.json", snapshotJson({product("Lumivex FarmServer 21.0", "21.0", 20)}, 1000000));

    const Result result = zelplan({"diff", "--json", before, after, bare, full});
    QCOMPARE(result.status, 1);
    QStringList changes;
    for (const QJsonValue& machine : result.json()["changedMachines"].toArray()) {
        for (const QJsonValue& change : machine["changes"].toArray())
            changes << QString("%1: %2 %3 -> %4 %5")
                           .arg(change["label"].toString(), change["before"]["decision"].toString())
                           .arg(change["before"]["build"].toInt())
                           .arg(change["after"]["decision"].toString())
                           .arg(change["after"]["build"].toInt());
    }
    const QStringList scenes{"Scenes: proposed 7 ->  0", "Models:  0 -> proposed 7"};
    QCOMPARE(changes, QStringList("Lumivex FarmServer 21.0: proposed 20 -> proposed 30") + scenes +
                          QStringList("Lumivex FarmServer 21.0: hidden 20 -> proposed 30") +
                          scenes);
    QCOMPARE(zelplan({"diff", before, before, bare, full}).status, 0);
}

void tst_ZelPlan::snapshotNamesNoUser() {
    const QString home = directory.filePath("home/Marker-User");
    const QString install = "Lumivex FarmServer-21.0";
    QVERIFY(QDir().mkpath(home + "/Downloads"));
    for (const QString& base : {home + "/apps/", directory.filePath("disk/marker-user/")})
        zelWriteFile(base + install + "/bin/lxrender",
                     "#!/bin/sh\necho Corvane Radiant Lumivex 21.0 @1379633 >&2\n", true);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", home);
    environment.insert("USER", "Marker-User");
    environment.insert("LUMITREE", home + "/apps/" + install);
    environment.insert("LATTREE", directory.filePath("disk/marker-user/x"));
    const QString file = directory.filePath("machine.json");
    const QString profiler = ZEL_SOURCE_DIR "/tools/standins/bin/system_profiler";

    const Result result = zelplan({"snapshot", "--profiler", profiler, "-o", file}, environment);
    QCOMPARE(result.status, 0);
    QFile written(file);
    QVERIFY(written.open(QIODevice::ReadOnly));
    const QByteArray json = written.readAll();
    QVERIFY2(!json.toLower().contains("marker"), json.constData());
    QCOMPARE(json.count("\"ProductName\": \"Lumivex FarmServer 21.0\""), 2);
    QVERIFY2(json.contains("\"~/apps/Lumivex FarmServer-21.0\""), json.constData());
    QVERIFY2(json.contains("\"downloadFolder\": \"~/Downloads\""), json.constData());
    QVERIFY2(json.contains("\"physicalMemory\": \"16\""), json.constData());
    QCOMPARE(zelplan({"offer", write("manifest.xml", goodManifest), file}).status, 0);
    QCOMPARE(zelplan({"snapshot", "-o", directory.path()}, environment).status, 2);
}

void tst_ZelPlan::refusesBadInput_data() {
    QTest::addColumn<QStringList>("arguments"); // %1 is the file
    QTest::addColumn<QByteArray>("contents");
    const QStringList check{"check", "%1"};
    const QStringList offer{"offer", write("good.xml", goodManifest), "%1"};
    const QByteArray snapshot = snapshotJson({product("Maya", "2014")}, 1);
    const QByteArray product = "<M><ProductInfo><Name>&a;</Name></ProductInfo></M>";
    QTest::newRow("empty") << check << QByteArray();
    QTest::newRow("truncated") << check << goodManifest.left(200);
    QTest::newRow("not XML") << check << QByteArray("xar!\0\1\2\3", 8);
    QTest::newRow("web page") << check << QByteArray("<html><title>Error 404</title></html>");
    QTest::newRow("nested elements") << check << QByteArray("<a>").repeated(100000);
    QTest::newRow("nested content models")
        << check << "<!DOCTYPE M [<!ELEMENT M " + QByteArray(200000, '(') + "]>" + product;
    QTest::newRow("many entities")
        << check
        << "<!DOCTYPE M [" + QByteArray("<!ENTITY a 'x'>").repeated(20000) + "]>" + product;
    QTest::newRow("entities that grow")
        << check
        << "<!DOCTYPE M [<!ENTITY a '" + QByteArray(4000, 'x') + "'>]>" +
               QByteArray(product).replace("&a;", QByteArray("&a;").repeated(100000));
    QTest::newRow("directory") << QStringList{"check", directory.path()} << QByteArray();
    QTest::newRow("no such file") << QStringList{"check", "%1.missing"} << QByteArray();
    QTest::newRow("older manifest")
        << QStringList{"check", "--against", "%1", offer[1]} << QByteArray("<M/>");
    QTest::newRow("refused manifest")
        << QStringList{"offer", "%1", "%1"}
        << QByteArray(goodManifest).replace("<M>", "<M><Name>x</Name>");
    QTest::newRow("snapshot that is a manifest") << offer << goodManifest;
    QTest::newRow("other format") << offer << QByteArray(snapshot).replace("zelplan-", "other-");
    QTest::newRow("other version") << offer << QByteArray(snapshot).replace("\": 1", "\": 2");
    QTest::newRow("product without name")
        << offer << QByteArray(snapshot).replace("ProductName", "ProductNam");
    QTest::newRow("unknown attribute") << offer << QByteArray(snapshot).replace("platform", "p");
    QTest::newRow("negative room") << offer << QByteArray(snapshot).replace(": 1", ": -1");
    QTest::newRow("nested arrays") << offer << QByteArray(100000, '[');
    QTest::newRow("unknown option") << QStringList{"check", "--guess", "%1"} << goodManifest;
    QTest::newRow("no snapshot") << QStringList{"offer", "%1"} << goodManifest;
    QTest::newRow("no verb") << QStringList{} << QByteArray();
}

void tst_ZelPlan::refusesBadInput() {
    QFETCH(QStringList, arguments);
    QFETCH(const QByteArray, contents);
    const QString file = write("input", contents);
    const Result result = zelplan(arguments.replaceInStrings("%1", file));
    QCOMPARE(result.status, 2);
    QCOMPARE(result.output, QByteArray());
    QVERIFY2(result.errors.startsWith("zelplan: ") && result.errors.count('\n') == 1,
             result.errors.constData());
}

ZEL_TEST_MAIN(tst_ZelPlan)
#include "tst_zelplan.moc"
