#include "core/ZelMachineAssay.h"
#include "support/ZelTestSupport.h"
#include "support/ZelWeather.h"

#include <QElapsedTimer>
#include <csignal>

// Programs of the machine that do not behave: the renderer and the profiler.
class tst_weather_programs : public QObject {
    Q_OBJECT

    QTemporaryDir machine;
    ZelMachineAssay assay;

    QString script(const QString& name, const QByteArray& lines) const {
        return zelWriteFile(machine.filePath(name), "#!/bin/bash\n" + lines + '\n', true);
    }
    // What an assay finds, in words.
    QString find();

private slots:
    void renderers_data() { zelWeatherRows("Installed products"); }
    void renderers();
    void profilers_data() { zelWeatherRows("System profile"); }
    void profilers();
};

QString tst_weather_programs::find() {
    const ZelLogCapture log;
    assay.DoAssay();
    QStringList found;
    for (const ZelProductHash& product : std::as_const(assay.products))
        found << product["ProductName"] + (product.contains("BuildId") ? "" : product["Version"]);
    if (assay.attributes.contains(ZelAttrPhysicalMemory))
        found << assay.attributes[ZelAttrPhysicalMemory] + " GB";
    return found.isEmpty() ? "nothing" : found.join(", ");
}

void tst_weather_programs::renderers() {
    const QByteArray banner = "echo 'Corvane Radiant Lumivex 21.0 @137'";
    const QHash<QString, QByteArray> behaviours{
        {"sound", banner + " >&2"},
        {"hangs", banner + " >&2; exec sleep 60"},
        {"floods with 20 MB", "yes | head -c 20000000 >&2; " + banner + " >&2"},
        {"begins with a NUL byte", "head -c 1 /dev/zero >&2; " + banner + " >&2"},
        {"prints half a line", "printf 'Corvane Radiant Lumivex 21.0 @' >&2"},
        {"prints to standard output only", banner},
        {"dies by a signal", banner + " >&2; kill -SEGV $$"},
        {"leaves a child that holds its output", banner + " >&2; sleep 30 & echo $! >$0.child"},
    };
    QVERIFY(QDir(machine.filePath("apps")).removeRecursively());
    const QString renderer = "apps/Lumivex FarmServer/bin/lxrender";
    const QString path = script(renderer, behaviours.value(zelWeather()));
    if (zelWeather() == "is a folder")
        QVERIFY(QFile::remove(path) && QDir().mkdir(path));
    else if (zelWeather() == "is not executable")
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
    else
        QVERIFY2(behaviours.contains(zelWeather()), "a weather that nobody makes");
    assay.possibleLocations = QStringList(machine.filePath("apps"));
    assay.profilerPath = "/nonexistent";

    QElapsedTimer time;
    time.start();
    QTEST(find(), "expected");
    QVERIFY(time.elapsed() < (zelWeather() == "hangs" ? 15000 : 9000));
    QFile child(path + ".child");
    if (child.open(QIODevice::ReadOnly))
        QProcess::execute("kill", {QString::fromUtf8(child.readAll()).trimmed()});
}

void tst_weather_programs::profilers() {
    const QByteArray start = "echo '<plist><dict><key>physical_memory</key><string>8 GB</string>"
                             "<key>_name</key><string>Maya 2016 Core</string>'\n";
    const QByteArray end = "echo '</dict></plist>'";
    const QByteArray flood = "yes '<key>_name</key><string>Something else</string>' | head -c ";
    const QHash<QString, QByteArray> behaviours{
        {"sound", start + end},
        {"prints nothing", ""},
        {"prints half a document", start},
        {"prints 50 MB", start + flood + "49999981\n" + end},
        {"dies in the middle", start + "kill -SEGV $$"},
        {"nests a million elements", start + "yes '<a>' | head -1000000"},
        {"nests a million parentheses",
         "echo '<!DOCTYPE p [<!ELEMENT p '; yes '(' | head -1000000"},
        {"prints garbage without end", start + "echo $$ >$0.pid; exec yes '<'"},
    };
    assay.possibleLocations.clear();
    assay.profilerPath = script("profiler", behaviours.value(zelWeather()));
    if (zelWeather() == "does not exist")
        assay.profilerPath += "-not";
    else
        QVERIFY2(behaviours.contains(zelWeather()), "a weather that nobody makes");
    QTEST(find(), "expected");
    QFile file(assay.profilerPath + ".pid");
    const int pid = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
    QTRY_VERIFY(!pid || kill(pid, 0) != 0); // what it goes on to print would fill the memory
}

ZEL_TEST_MAIN(tst_weather_programs)
#include "tst_weather_programs.moc"
