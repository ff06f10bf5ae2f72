#include "core/ZelMachineAssay.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

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
    assay.possibleLocations.clear();
    assay.profilerPath = folder.filePath("profiler");
    if (!in[0].isEmpty())
        zelWriteFile(assay.profilerPath, program.toUtf8(), true);
    const ZelLogCapture log;
    assay.DoAssay();
    assay.DoAssay(); // starts from nothing
    int memory = -1;
    assay.FindMachineProperty(ZelAttrPhysicalMemory, memory);
    QStringList result{QString::number(memory), assay.attributes[ZelAttrPlatform]};
    for (const ZelProductHash& product : std::as_const(assay.products))
        result << product["ProductName"] + product["Version"];
    return (result << log.lines().last().left(8)).join(' ');
}

// What is found of an install whose files are all this one program, or the last line of the log.
static QString install(QStringList in) {
    const QTemporaryDir folder;
    in[1].replace("server", "bin/lxrender").replace("tools", "BUNDLE/x lumitree/bin/lxrender");
    in[1].replace("BUNDLE", "plug-ins/Lumivex_for_Maya.bundle");
    in[2].replace("B ", "echo Corvane Radiant Lumivex ");
    for (const QString& file : in[1].split(' '))
        zelWriteFile(folder.filePath(in[0] + '/' + file),
                     "#!/bin/sh\n[ \"$*\" = -version ] && " + in[2].toUtf8() + '\n', true);
    const ZelLogCapture log;
    ZelMachineAssay assay;
    assay.possibleLocations = {folder.filePath("absent"), folder.path()};
    assay.findCorvaneProducts();
    if (assay.products.isEmpty())
        return log.lines().last().replace(folder.path() + '/', "").replace(folder.path(), "HERE");
    const ZelProductHash& p = assay.products[0];
    const QStringList found{p["ProductName"], p["Version"], p["BuildId"], p["MayaVersion"]};
    return p["Location"] == folder.filePath(in[0]) ? found.join(' ').trimmed() : p["Location"];
}

class tst_assay : public QObject {
    Q_OBJECT

private slots:
    void profiles() {
        zelCheckTable(R"(
            cat doc | physical_memory=16 GB;_name=maya_2016.5 CORE => 16 osx Maya2016.5 Got syst
            head -c 150 doc; sleep .1; tail -c +151 doc | _name=Maya 1 Core => -1 osx Maya1 Got syst
            cat doc | physical_memory=8192 MB;_name=Maya 2014;_name=Core 2014 => -1 osx Got syst
            cat doc | _name=Core Maya 2013;_name=Maya 2013 core => -1 osx Maya2013 Maya2013 Got syst
            cat doc | _name</key><date/><string>Maya 1 Core</string><key>x=9.5 GB => -1 osx Got syst
            head -c 240 doc | physical_memory=8 gb;x=y;x=y => 8 osx Couldn't
            true | => -1 osx Couldn't
             | => -1 osx Couldn't)",
                      profile);
    }

    void installs() {
        zelCheckTable(R"(
            x lumivex-Server | server | B 21.0 @137 >&2 => Lumivex FarmServer 21.0 21.0 137
            LFS | server | echo a@b @12 @3 >&2; B 99.05-b >&2 => Lumivex FarmServer 99.0 99.0 12
            LFS | server | B 21.0 @5 => no build id in output ""
            LFS | server | printf 'B\0@5' >&2 => no build id in output "B"
            LFS | server | B 9.5 @5 >&2 => no version in output "Corvane Radiant Lumivex 9.5 @5\n"
            LFS | server | B 21.0 @9999999999 >&2 => getting version info from "LFS/bin/lxrender"
            LFS | server | B 18.9 @5 >&2 => getting version info from "LFS/bin/lxrender"
            LFS | none | true => getBuildId given non-existing path "LFS/bin/lxrender"
            LFS | server/folder | true => Wait failed on process  "LFS/bin/lxrender"
            LAT2016.5 | tools | B 21.0 @5 >&2 => Lumivex Atelier 21.0 for Maya 2016.5 21.0 5 2016.5
            LAT | none | true => Not LAT for Maya, no "LAT/plug-ins/Lumivex_for_Maya.bundle"
            LAT2010 | BUNDLE/x | true => No maya verion in LAT path "LAT2010/lumitree/bin/lxrender"
            lumivex LAT2016 server | server | B 21.0 @5 >&2 => Lumivex FarmServer 21.0 21.0 5
            Lumi Server | server | B 21.0 @5 >&2 => Looking for corvane products in "HERE")",
                      install);
    }

    void queries() {
        ZelMachineAssay assay;
        const QString products = "Maya:2015 Maya:odd Maya:2016.5 MayaLT:2017 Maya:2016 F:21.0:99 "
                                 "F:21.0:0100 F:21.0:100 F:19.0:5000 F:20.0:0 F:20.0:many";
        for (const QString& product : products.split(' '))
            assay.products << ZelProductHash{{"ProductName", product.section(':', 0, 0)},
                                             {"Version", product.section(':', 1, 1)},
                                             {"BuildId", product.section(':', 2)}};
        QList<ZelProductHash> mayas{{{"an", "old entry"}}};
        assay.GetProducts("Maya", mayas);
        QString versions;
        for (const ZelProductHash& maya : std::as_const(mayas))
            versions += maya["Version"] + ' ';
        QCOMPARE(versions, QString("2016.5 2016 2015 odd "));
        const auto highest = [&assay](const QStringList& in) {
            ZelProductHash product{{"BuildId", "unchanged"}};
            const bool found = assay.FindHighestBuildOfProduct(in[0], in[1], product);
            return product["BuildId"] + (found ? " found" : "");
        };
        zelCheckTable("^F | 21.0 => 0100 found \n F | => 5000 found \n F | 20.0 => unchanged",
                      highest);
    }

    void environment() {
        const QTemporaryDir folder;
        const QByteArray parent = folder.path().toUtf8();
        const ZelEnvironment tree("LUMITREE", parent + "/lumi-21/");
        const ZelEnvironment atelier("LATTREE", parent + "/atelier");
        const ZelLogCapture log;
        QCOMPARE(ZelMachineAssay().possibleLocations,
                 QStringList({"/Applications/Corvane", folder.path()}));
        QCOMPARE(log.lines()[0], "found LUMITREE set at  \"" + parent + "/lumi-21/\"");
        const auto locations = [](const QStringList& in) {
            const ZelEnvironment lumi("LUMITREE", in[0].toUtf8());
            const ZelEnvironment lat("LATTREE", in[1].toUtf8());
            return ZelMachineAssay().possibleLocations.mid(1).join(' ');
        };
        zelCheckTable("/absent/lumi | => \n / | /.. => \n /x | //usr/../../x/ => / \n "
                      "/../usr/x | /usr//y => /usr",
                      locations);

        const QString tool = zelWriteFile(folder.filePath("b/tool"), "");
        const ZelEnvironment path("PATH", parent + "/absent::" + parent + ":" + parent + "/b");
        QString found;
        QVERIFY(!ZelMachineAssay::FindExecutable("absent", found));
        QVERIFY(ZelMachineAssay::FindExecutable("tool", found) && found == tool);
        ZelMachineAssay::GetEnv("ZEL_NOT_SET", found, "default", nullptr);
        QCOMPARE(found, QString("default"));
    }

    void disk() {
        const ZelLogCapture log;
        const QTemporaryDir folder;
        const QDir odd(folder.filePath("größe"));
        QVERIFY(odd.mkpath("."));
        const ZelMachineAssay assay;
        const std::filesystem::path path = odd.path().toStdU16String();
        QTRY_COMPARE(assay.GetAvailableDisk(odd), std::filesystem::space(path).available);
        QCOMPARE(assay.GetAvailableDisk(QDir(folder.filePath("absent"))), 0);
        QVERIFY(log.lines().last().startsWith("statfs failed on "));
        for (const QString home : {"/", "/Users/jörg"}) {
            const ZelEnvironment guard("HOME", home.toUtf8());
            QCOMPARE(assay.GetUserDownloadPath(), home + "/Downloads");
        }
    }
};

ZEL_TEST_MAIN(tst_assay)
#include "tst_assay.moc"
