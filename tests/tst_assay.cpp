#include "core/ZelMachineAssay.h"
#include "core/ZelRendererBanner.h"
#include "support/ZelTestSupport.h"

#include <csignal>
#include <filesystem>

// What the assay makes of a profiler that prints the file "doc", or a part of it, by this command.
static QString profile(const QStringList& in) {
    const QTemporaryDir folder;
    QString xml = R"(<?xml version="1.0" encoding="UTF-8"?>
        <!DOCTYPE plist PUBLIC "-//X//DTD PLIST 1.0//EN" "http://localhost/none.dtd"><plist>)";
    for (const QString& entry : in[1].split(';'))
        xml += "<key>" + QString(entry).replace("=", "</key>\n<string> ") + " </string>\n";
    zelWriteFile(folder.filePath("doc"), (xml + "</plist>").toUtf8());
    const QString program =
        "#!/bin/sh\ncd '" + folder.path() + "'\n[ \"$*\" = '-xml " +
        "SPHardwareDataType SPInstallHistoryDataType' ] && [ -z \"$QT_NO_GLIB\" ] && " + in[0] +
        '\n';
    ZelMachineAssay assay;
    assay.possibleLocations = {"/absent"};
    assay.profilerPath = folder.filePath("profiler");
    if (!in[0].isEmpty())
        zelWriteFile(assay.profilerPath, program.toUtf8(), true);
    assay.attributes[ZelAttrPhysicalMemory] = "1";
    const ZelLogCapture first;
    assay.DoAssay();
    const ZelLogCapture log;
    assay.DoAssay(); // starts from nothing
    int memory = -1;
    QStringList result{assay.FindMachineProperty(ZelAttrPhysicalMemory, memory) ? "ram" : "none"};
    result[0] += assay.attributes[ZelAttrPhysicalMemory];
    result << QString::number(memory) << assay.attributes[ZelAttrPlatform];
    for (const ZelProductHash& product : std::as_const(assay.products))
        result << product["ProductName"] + product["Version"];
    for (const QString& line : log.lines())
        result << line.left(line.indexOf(QRegularExpression(" [Q\"]")));
    QFile pids(folder.filePath("pids")); // of those that would print for ever
    for (const QByteArray& pid :
         pids.open(QIODevice::ReadOnly) ? pids.readAll().trimmed().split('\n') : QByteArrayList())
        if (!QTest::qWaitFor([&pid] { return kill(pid.toInt(), 0) != 0; }))
            result << "it runs on";
    return result.join(' ')
        .remove("system_profiler output ")
        .replace("running Got system profile Looking for corvane products in", "GOT")
        .replace("running Failed to parse Couldn't read Looking for corvane products in", "FAILED");
}

// What is found of an install whose files are all this one program, or the last line of the log.
static QString install(QStringList in) {
    const QTemporaryDir folder;
    in[1].replace("server", "bin/lxrender").replace("tools", "BUNDLE/x lumitree/bin/lxrender");
    in[1].replace("BUNDLE", "plug-ins/Lumivex_for_Maya.bundle");
    in[2].replace("B ", "echo Corvane Radiant Lumivex ");
    for (const QString& file : in[1].split(' '))
        zelWriteFile(folder.filePath("2016/" + in[0] + '/' + file),
                     "#!/bin/sh\n[ \"$*\" = -version ] && " + in[2].toUtf8() + '\n', true);
    const ZelLogCapture log;
    ZelMachineAssay assay;
    assay.possibleLocations = {folder.filePath("absent"), folder.filePath("2016")};
    assay.findCorvaneProducts();
    if (assay.products.isEmpty())
        return log.lines().last().replace(folder.path() + "/2016", "HERE");
    if (!log.lines().last().startsWith("Found QHash(") || !log.contains("\" matched \""))
        return "not logged";
    ZelProductHash& p = assay.products[0];
    const QStringList found{p["ProductName"], p["Version"], p["BuildId"], p["MayaVersion"]};
    return found.join(' ').trimmed() + p["Location"].remove(folder.filePath("2016/" + in[0]));
}

class tst_assay : public QObject {
    Q_OBJECT

private slots:
    void profiles() {
        zelCheckTable(R"(
            cat doc | physical_memory=16 GB;_name=maya_2016.5 CORE</string><string>Maya 9 Core => ram16 16 osx Maya2016.5 GOT
            cat doc; echo x >&2 | physical_memory=010 GB GB;_name=Maya-2 Core => ram010 10 osx Maya-2 GOT
            head -c 150 doc; sleep .1; tail -c +151 doc | _name=Maya 1 Core => none -1 osx Maya1 GOT
            cat doc | physical_memory=8192 MB;_name=Maya 2014;_name=Core 2014 => none -1 osx GOT
            cat doc | _name=Core Maya 2013;_name=Maya 2012 core => none -1 osx Maya2013 Maya2012 GOT
            cat doc | _name</key><date/><string>Maya 1 Core</string><key>name=Maya 1 Core => none -1 osx GOT
            cat doc | x=_name</string><string>Maya 1 Core => none -1 osx GOT
            cat doc | physical_memory=16.5 GB;physical_memory_x=8 GB;x=9 GB => none16.5 -1 osx GOT
            head -c 240 doc | physical_memory=8 gb;x=y;x=y => ram8 8 osx FAILED
            head -c 240 doc; kill -SEGV $$ | physical_memory=8 gb;x=y;x=y => ram8 8 osx FAILED
            head -c 240 doc; yes '<a>'|head -1000000 | physical_memory=8 gb;x=y => ram8 8 osx FAILED
            echo '<!DOCTYPE p [<!ELEMENT p '; yes '('|head -1000000 | => none -1 osx FAILED
            head -c 240 doc; echo $$ >>pids; exec yes '<' | physical_memory=8 gb;x=y;x=y => ram8 8 osx FAILED
            head -c -8 doc; yes '<a>x</a>'|head -c 9999999; tail -c 8 doc | physical_memory=8 gb => ram8 8 osx GOT
            true | => none -1 osx FAILED
             | => none -1 osx FAILED)",
                      profile);
    }

    void installs() {
        zelCheckTable(R"(
            x lumivex-Server | server | sleep 3; B 21.0 @137 >&2 => Lumivex FarmServer 21.0 21.0 137
            LumiVex server | server | B 19.0 @5 >&2 => Lumivex FarmServer 19.0 19.0 5
            LFS | server | echo a@b @12 @3 >&2; B 99.05-b >&2 => Lumivex FarmServer 99.0 99.0 12
            LFS | server | B 21.0 @5 => no build id in output ""
            LFS | server | B 21.0 @5 >&2; exec sleep 60 => Wait failed on process  "HERE/LFS/bin/lxrender"
            LFS | server | B 21.0 @5 >&2; sleep 15 & => Lumivex FarmServer 21.0 21.0 5
            LFS | server | B 21.0 @5 >&2; kill -SEGV $$ => Lumivex FarmServer 21.0 21.0 5
            LFS | server | yes|head -c 20000000 >&2; B 21.0 @5 >&2 => Lumivex FarmServer 21.0 21.0 5
            LFS | server | printf 'B\0@5' >&2 => no build id in output "B"
            LFS | server | B 9.5 @5 >&2 => no version in output "Corvane Radiant Lumivex 9.5 @5\n"
            LFS | server | echo Radiant Lumivex 20.0 @5 >&2 => no version in output "Radiant Lumivex 20.0 @5\n"
            LFS | server | B 21.0 @9999999999 >&2 => getting version info from "HERE/LFS/bin/lxrender"
            LFS | server | B 18.9 @5 >&2 => getting version info from "HERE/LFS/bin/lxrender"
            LFS | none | true => getBuildId given non-existing path "HERE/LFS/bin/lxrender"
            LFS | server/folder | true => Wait failed on process  "HERE/LFS/bin/lxrender"
            LAT2016.5 | tools | B 21.0 @5 >&2 => Lumivex Atelier 21.0 for Maya 2016.5 21.0 5 2016.5
            lumiVex_atelier-2019 | tools | B 21.0 @5 >&2 => Lumivex Atelier 21.0 for Maya 2019 21.0 5 2019
            LumivexAtelier2010-2011 | tools | B 21.0 @5 >&2 => Lumivex Atelier 21.0 for Maya 2011 21.0 5 2011
            LAT | none | true => Not LAT for Maya, no "HERE/LAT/plug-ins/Lumivex_for_Maya.bundle"
            LAT2010 2022 | BUNDLE/x | true => No maya verion in LAT path "HERE/LAT2010 2022/lumitree/bin/lxrender"
            lumivex LAT2016 server | server | B 21.0 @5 >&2 => Lumivex FarmServer 21.0 21.0 5
            Lumi Server | server | B 21.0 @5 >&2 => Looking for corvane products in "HERE")",
                      install);
    }

    void queries() {
        ZelMachineAssay assay;
        const QString products = "Maya:2015 Maya:odd Maya:2016.5 MayaLT:2017 Maya:2016 F:21.0:99 "
                                 "F:21.0:0100 F:21.0:100 F:19.0:5000 F:20.0:0 F:20.0:many f:9:9000";
        for (const QString& product : products.split(' '))
            assay.products << ZelProductHash{{"ProductName", product.section(':', 0, 0)},
                                             {"Version", product.section(':', 1, 1)},
                                             {"BuildId", product.section(':', 2)}};
        const auto run = [&assay](const QStringList& in) {
            ZelProductHash product{{"BuildId", "unchanged"}};
            const bool found = assay.FindHighestBuildOfProduct(in[0], in[1], product);
            QList<ZelProductHash> all{{{"Version", "old"}}};
            assay.GetProducts(in[0], all);
            QString result = product["BuildId"] + (found ? " found" : "");
            for (const ZelProductHash& one : std::as_const(all))
                result += ' ' + one["Version"];
            return result;
        };
        zelCheckTable(R"(Maya | 2016 => unchanged 2016.5 2016 2015 odd
            ^F | 21.0 => 0100 found
            F | => 5000 found 21.0 21.0 21.0 20.0 20.0 19.0
            ^F | 20.0 => unchanged
            ^F | 2 => unchanged)",
                      run);
        int number = 0;
        QString suffix;
        const QString banner = "Corvane Radiant Lumivex 21.0b2 @1379633 @5";
        QVERIFY(!ZelReadRendererBanner(banner, number, number, number, suffix) && suffix == "b2");
    }

    void environment() {
        const QTemporaryDir folder;
        const QByteArray parent = folder.path().toUtf8();
        const ZelEnvironment tree("LUMITREE", parent + "/größe/");
        const ZelEnvironment atelier("LATTREE", parent + "/atelier");
        const ZelLogCapture log;
        QCOMPARE(ZelMachineAssay().possibleLocations,
                 QStringList({"/Applications/Corvane", folder.path()}));
        QCOMPARE(log.lines(), QStringList({"found LUMITREE set at  \"" + parent + "/größe/\"",
                                           "found LATTREE set at  \"" + parent + "/atelier\""}));
        const auto locations = [](const QStringList& in) {
            const ZelEnvironment lumi("LUMITREE", in[0].toUtf8());
            const ZelEnvironment lat("LATTREE", in[1].toUtf8());
            return ZelMachineAssay().possibleLocations.mid(1).join(' ');
        };
        zelCheckTable("/absent/lumi | => \n / | /.. => \n /x | //usr/../../x/ => / \n "
                      "/../usr/x | /usr//y => /usr \n /usr/bin | /var/größe => /usr /var",
                      locations);

        const QString tool = zelWriteFile(folder.filePath("b/tool"), "");
        zelWriteFile(folder.filePath("c/tool"), "");
        const ZelEnvironment path("PATH", parent + "/absent::" + parent + ":" + parent +
                                              "/b:" + parent + "/c");
        QString found;
        QVERIFY(!ZelMachineAssay::FindExecutable("absent", found));
        QVERIFY(!ZelMachineAssay::FindExecutable("", found));
        const QString before = QDir::currentPath(); // no part of the path
        QVERIFY(QDir::setCurrent(folder.filePath("c")));
        QVERIFY(ZelMachineAssay::FindExecutable("tool", found) && found == tool);
        const ZelEnvironment emptyPart("PATH", parent + "::");
        QVERIFY(!ZelMachineAssay::FindExecutable("tool", found) && QDir::setCurrent(before));
        bool isSet = true;
        ZelMachineAssay::GetEnv("ZEL_NOT_SET", found, nullptr, &isSet);
        QVERIFY(!isSet && found == tool);
        ZelMachineAssay::GetEnv("ZEL_NOT_SET", found, "default", nullptr);
        QCOMPARE(found, QString("default"));
        const ZelEnvironment empty("ZEL_EMPTY", "");
        ZelMachineAssay::GetEnv("ZEL_EMPTY", found, "default", &isSet);
        QVERIFY(isSet && found.isEmpty());
    }

    void disk() {
        const ZelLogCapture log;
        const QTemporaryDir folder;
        const QDir odd(folder.filePath("größe"));
        QVERIFY(odd.mkpath("."));
        const ZelMachineAssay assay;
        const std::filesystem::path path = odd.path().toStdU16String();
        QTRY_COMPARE(assay.GetAvailableDisk(odd), std::filesystem::space(path).available);
        QVERIFY(log.contains("Bytes avail on \"" + odd.path() + "\" "));
        QCOMPARE(assay.GetAvailableDisk(QDir(folder.filePath("absent"))), 0);
        QVERIFY(log.lines().last().startsWith("statfs failed on "));
        const ZelEnvironment home("HOME", "/Users/jörg");
        QCOMPARE(assay.GetUserDownloadPath(), "/Users/jörg/Downloads");
    }
};

ZEL_TEST_MAIN(tst_assay)
#include "tst_assay.moc"
