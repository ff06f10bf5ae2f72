#include "core/ZelDownloadFolder.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

// Stands in front of the C library's own: this folder cannot be written to, not even by root.
extern "C" int access(const char* path, int mode) noexcept {
    if (mode == W_OK && QByteArray(path).contains("/locked")) {
        errno = EACCES;
        return -1;
    }
    return faccessat(AT_FDCWD, path, mode, 0);
}

class tst_downloadfolder : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();

private slots:
    void fallback() {
        const QDir chosen = *app->GetDownloadDir(); // decided once, whatever follows
        const QTemporaryDir place;
        const QDir root(place.path());
        QVERIFY(root.mkpath("free/Downloads") && root.mkpath("locked/Downloads"));
        zelWriteFile(root.filePath("file/Downloads"), "");
        const auto run = [&](const QStringList& in) {
            const ZelEnvironment home("HOME", root.filePath(in[0]).toUtf8());
            const ZelEnvironment temp("TMPDIR", root.filePath(in[1]).toUtf8());
            const ZelLogCapture log;
            const QString folder = ZelChooseDownloadFolder().path();
            return (QStringList(folder) + log.lines()).join(' ').remove(root.path());
        };
        zelCheckTable(R"(free | locked => /free/Downloads
            file | free => /free No ~/Downloads dir "/file/Downloads" Trying temp
            locked | locked => . No ~/Downloads dir "/locked/Downloads" Trying temp No temp, using . for downloads)",
                      run);
        QCOMPARE(*app->GetDownloadDir(), chosen);
    }

    // From a name and what is in the folder to the final name; the way there ends in the suffix.
    void names() {
        const auto run = [](const QStringList& in) {
            const QTemporaryDir folder;
            for (const QString& file : in[1].split(' '))
                QFile::link("/absent", folder.filePath(file)); // counts as taken, like a file
            const QString temp = ZelFreeTempPath(QDir(folder.path()), in[0]);
            const QString end = ZelFinalNameFromTempName(temp);
            return temp == end + ".zeldownload" ? end.mid(folder.path().size() + 1) : temp;
        };
        zelCheckTable(R"(L-21.0.pkg | => L-21.0.pkg
            L-21.0.pkg | L-21.0.pkg => L-21.0-1.pkg
            L-21.0.pkg | L-21.0.pkg.zeldownload L-21.0-1.pkg => L-21.0-2.pkg
            README | README. => README-1.
            a.b.PKG | a.b.PKG => a.b-1.PKG
            größe 1.pkg | => größe 1.pkg
            ../../etc/a.pkg | => a.pkg
            /etc/cron.d/a | => a.
            .. | => -1.)",
                      run);
    }

    void everythingTaken() {
        const QTemporaryDir place;
        const QString before = QDir::currentPath();
        const auto back = qScopeGuard([&before] { QDir::setCurrent(before); });
        QVERIFY(QDir::setCurrent(place.path()) && QDir().mkdir("full"));
        const ZelLogCapture log;
        for (int i = 0; i < 9999; ++i)
            zelWriteFile(i ? QString("full/a-%1.pkg").arg(i) : "full/a.pkg", "");
        const QString last = QDir("full").absoluteFilePath("a-9999.pkg");
        QCOMPARE(ZelFreeTempPath(QDir("full"), "a.pkg"), last + ".zeldownload");
        zelWriteFile(last, "");
        QCOMPARE(ZelFreeTempPath(QDir("full"), "a.pkg"), QString("zel-0.pkg.zeldownload"));
        QCOMPARE(log.lines(), QStringList("Failed to find unique name for  \"a.pkg\""));
        QCOMPARE(ZelFinalNameFromTempName("zel-0.pkg.zeldownload"), QString("./zel-0.pkg"));
        for (int i = 0; i < 10000; ++i)
            zelWriteFile(QString("zel-%1.pkg").arg(i), "");
        QCOMPARE(ZelFreeTempPath(QDir("full"), "a.pkg"), QString("unkown.zeldownload"));
        QCOMPARE(ZelFinalNameFromTempName("d/a.zeldownload.pkg"), QString("d/a.zeldownload.pkg"));
        QCOMPARE(log.lines().last(),
                 QString("getFinalNameFromTempName: Unexpected name \"d/a.zeldownload.pkg\""));
    }

    void existingDownload() {
        const QDir folder = *app->GetDownloadDir();
        app->manifest = {ZelManifestElement()};
        ZelManifestElement& element = app->manifest[0];
        element.SimpleName = "A";
        element.Name = "../a.pkg"; // never looked for outside
        element.FileSize = 5;
        const auto run = [&](const QStringList& in) {
            QDir(folder).removeRecursively();
            zelWriteFile(folder.filePath(in[0]), in[1].toUtf8());
            app->CheckForDownload(0);
            return element.downloaded ? QFileInfo(*element.file).fileName() : "none";
        };
        zelCheckTable("a.pkg | 1234 => none \n a.pkg | 123456 => none \n "
                      "a-1.pkg | 12345 => none \n a.pkg.zeldownload | 12345 => none",
                      run);
        run({"a.pkg/x", ""}); // a folder of the size that the package should have
        element.FileSize = QFileInfo(folder.filePath("a.pkg")).size();
        app->CheckForDownload(0);
        QVERIFY(!element.file);
        element.FileSize = 5;
        const ZelLogCapture log;
        zelCheckTable("a.pkg | 12345 => a.pkg", run);
        QCOMPARE(log.lines(),
                 QStringList({"Looking for download of \"" + folder.filePath("a.pkg") + '"',
                              "Found existing download"}));
        QCOMPARE(element.file->fileName(), folder.filePath("a.pkg"));
        QCOMPARE(app->getDownloadPath(0), folder.filePath("a-1.pkg.zeldownload"));
        app->CheckForDownload(1);
        QCOMPARE(app->getDownloadPath(-1), QString("unkown.zeldownload"));
        QCOMPARE(log.lines().mid(2), QStringList({"index out of range in CheckForDownload 1",
                                                  "index out of range in getDownloadPath -1"}));
    }
};

ZEL_TEST_MAIN(tst_downloadfolder)
#include "tst_downloadfolder.moc"
