#include "support/ZelTestSupport.h"

#include <QTcpSocket>

// The bytes that the vendor server sends in each weather, read from the socket: what a client makes
// of them is the concern of other tests.
class tst_weather_server : public QObject {
    Q_OBJECT

private slots:
    void answer_data();
    void answer();
    void countsRequestsOfEachPath();
    void silenceHoldsUpNobody();
    void usesReadyScenario_data();
    void usesReadyScenario();
    void refusesScenario_data();
    void refusesScenario();

private:
    static constexpr int packageSize = 300'000;

    static bool start(ZelVendorProcess& server, const QByteArray& scenario) {
        server.addPackage("p.pkg", packageSize);
        return server.start(
            {"--weather", zelWriteFile(server.folder() + "/weather.toml", scenario)});
    }

    static void ask(QTcpSocket& socket, const ZelVendorProcess& server, const QByteArray& path) {
        const QUrl url = server.packageUrl("");
        socket.connectToHost(url.host(), quint16(url.port()));
        socket.write("GET " + path + " HTTP/1.1\r\nConnection: close\r\n\r\n");
    }

    // All that comes before the server closes the connection.
    static QByteArray fetch(const ZelVendorProcess& server, const QByteArray& path) {
        QTcpSocket socket;
        ask(socket, server, path);
        while (socket.state() != QAbstractSocket::UnconnectedState && socket.waitForReadyRead())
            ;
        return socket.readAll();
    }
};

void tst_weather_server::answer_data() {
    QTest::addColumn<QByteArray>("rule");
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("header"); // one that is there; after '!' one that is not
    QTest::addColumn<int>("bodySize");

    const auto row = [](const char* name, const char* rule, const char* status, const char* header,
                        int bodySize) {
        QTest::newRow(name) << QByteArray(rule) << QByteArray(status) << QByteArray(header)
                            << bodySize;
    };
    row("cut", "cut_at = 1234", "200 OK", "Content-Length: 300000", 1234);
    row("hang up", "hang_up = true", "", "!HTTP", 0);
    row("promises more", "length_off_by = 10", "200 OK", "Content-Length: 300010", packageSize);
    // 256 KiB and the rest, each with its size and line ends, and the last chunk.
    row("chunked", "framing = 'chunked'", "200 OK", "Transfer-Encoding: chunked",
        packageSize + (5 + 4) + (4 + 4) + 5);
    row("chunked, cut", "framing = 'chunked'\ncut_at = 1000", "200 OK",
        "Transfer-Encoding: chunked", 1000 + (3 + 4));
    row("until close", "framing = 'until-close'", "200 OK", "!Content-Length", packageSize);
    row("drip", "bytes_per_second = 2_000_000", "200 OK", "Content-Length: 300000", packageSize);
    row("status", "status = 503", "503 Service Unavailable", "Content-Length: 300000", packageSize);
    row("body", "body = 'no'", "200 OK", "Content-Length: 2", 2);
    row("pieces", "body = ['<', { text = 'ab', times = 100_000 }, '>']", "200 OK",
        "Content-Length: 200002", 200'002);
    row("headers", "headers = { Validation = 'Error  why ' }", "200 OK", "Validation: Error  why ",
        packageSize);
    row("without", "without = ['Content-Type']", "200 OK", "!octet-stream", packageSize);
    row("redirect", "redirect = '/x@PATH@'", "302 Found", "Location: /x/packages/p.pkg", 0);
}

void tst_weather_server::answer() {
    QFETCH(QByteArray, rule);
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, header);
    QFETCH(int, bodySize);
    ZelVendorProcess server;
    QVERIFY(start(server, "[[rule]]\npath = '/packages/*'\n" + rule));

    const QByteArray answer = fetch(server, "/packages/p.pkg");
    const qsizetype end = answer.indexOf("\r\n\r\n");
    const QByteArray head = answer.left(end);
    QCOMPARE(head.left(head.indexOf('\r')), status.isEmpty() ? status : "HTTP/1.1 " + status);
    if (header.startsWith('!'))
        QVERIFY2(!head.contains(header.mid(1)), head.constData());
    else
        QVERIFY2((head + "\r\n").contains("\r\n" + header + "\r\n"), head.constData());
    QCOMPARE(end < 0 ? 0 : answer.size() - end - 4, bodySize);
    QVERIFY(fetch(server, "/elsewhere").startsWith("HTTP/1.1 404"));
}

void tst_weather_server::countsRequestsOfEachPath() {
    ZelVendorProcess server;
    QVERIFY(start(server, "[[rule]]\npath = '/packages/*'\nfirst = 1\nstatus = 503\n"));
    for (const char* path : {"/packages/p.pkg", "/packages/./p.pkg"}) {
        QVERIFY(fetch(server, path).startsWith("HTTP/1.1 503"));
        QVERIFY(fetch(server, path).startsWith("HTTP/1.1 200"));
    }
}

void tst_weather_server::silenceHoldsUpNobody() {
    ZelVendorProcess server;
    QVERIFY(start(server, "[[rule]]\npath = '/packages/*'\nstall_at = 1000\n"));
    QTcpSocket sockets[50];
    for (QTcpSocket& socket : sockets) {
        ask(socket, server, "/packages/p.pkg");
        QTRY_VERIFY(socket.bytesAvailable() > 1000);
    }
    QVERIFY(fetch(server, "/elsewhere").startsWith("HTTP/1.1 404"));
    QCOMPARE(sockets[0].state(), QAbstractSocket::ConnectedState);
    // The server sees its clients go: it writes the line about a request at the end of its answer.
    for (QTcpSocket& socket : sockets)
        socket.abort();
    QTRY_COMPARE(server.requestLog().count("/packages/p.pkg 200 1000\n"), 50);
}

void tst_weather_server::usesReadyScenario_data() {
    QTest::addColumn<QString>("file");
    const QDir folder(ZEL_SOURCE_DIR "/tools/weather");
    for (const QString& name : folder.entryList({"*.toml"}))
        QTest::newRow(qPrintable(name)) << folder.filePath(name);
}

void tst_weather_server::usesReadyScenario() {
    QFETCH(QString, file);
    ZelVendorProcess server;
    if (!server.start({"--weather", file}))
        QCOMPARE(server.requestLog(), "zelvendor: this weather needs --cert and --key\n");
}

void tst_weather_server::refusesScenario_data() {
    QTest::addColumn<QByteArray>("scenario");
    QTest::addColumn<QByteArray>("reason");

    const auto row = [](const char* name, const char* scenario, const char* reason) {
        QTest::newRow(name) << QByteArray(scenario) << QByteArray(reason);
    };
    row("empty", "", "there is no [[rule]] in it");
    row("no TOML", "[[rule]]\npath = /a\n", "line 2: ");
    row("no path", "\n[[rule]]\nstatus = 200\n", "line 2: the rule has no path");
    row("unknown word", "[[rule]]\npath = '/a'\ncut = 3\n", "line 3: \"cut\" means nothing here");
    row("wrong kind", "[[rule]]\npath = '/a'\nhang_up = 1\n", "line 3: hang_up has to be true or");
}

void tst_weather_server::refusesScenario() {
    QFETCH(QByteArray, scenario);
    QFETCH(QByteArray, reason);
    ZelVendorProcess server;
    QVERIFY(!start(server, scenario));
    const QByteArray said = server.requestLog();
    QVERIFY2(said.contains(reason) && said.count('\n') == 1, said.constData());
}

QTEST_GUILESS_MAIN(tst_weather_server)
#include "tst_weather_server.moc"
