#pragma once

#include <QDir>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// What is known of the machine, beside its products.
enum ZelAttrNames {
    ZelAttrPhysicalMemory = 0, // gigabytes, as text
    ZelAttrPlatform = 1,       // "osx"
    ZelAttrInstallProblem = 2, // why nothing can be installed here; the assay itself never sets it
};

// One installed product. Keys: "ProductName" and "Version" always; "BuildId" and "Location" for the
// family's own products; "MayaVersion" for the Maya tools among them.
using ZelProductHash = QHash<QString, QString>;

// Knows what the machine is and what is installed on it: filled by DoAssay, then only read.
class ZelMachineAssay {
public:
    // The one of this machine; created on first use, never destroyed.
    static ZelMachineAssay* Singleton();

    ZelMachineAssay();

    // Reads the system profile and looks for products; what an earlier run found is replaced.
    // Blocks while the profiler runs, and up to 10 s for each product found.
    void DoAssay();

    // False, with `value` unchanged, when the attribute is absent (or, for the second, no integer).
    bool FindMachineProperty(ZelAttrNames key, QString& value) const;
    bool FindMachineProperty(ZelAttrNames key, int& value) const;

    // Reads an environment variable. `found` (may be null) tells whether it is set, be it empty.
    // When it is not set, `value` becomes the default, or stays as it is when that is null.
    static void GetEnv(const QString& name, QString& value, const char* defaultValue, bool* found);

    // Appends the family's products in the possible locations to `products`.
    void findCorvaneProducts();

    // The build and version that a renderer prints about itself. True on failure; the numbers that
    // were read before it stay stored. Waits up to 10 s for the program.
    bool getBuildIdFromExecutable(const QString& executable, int& buildId, int& major, int& minor,
                                  QString& suffix);

    // The installed products of exactly this name, highest version first.
    void GetProducts(const QString& name, QList<ZelProductHash>& result) const;

    // The product with the highest build among those whose name matches `namePattern` and whose
    // version is `version` (any when empty). False, with `result` unchanged, when there is none.
    bool FindHighestBuildOfProduct(const QString& namePattern, const QString& version,
                                   ZelProductHash& result) const;

    // The product's build as a number, 0 when it has none.
    static void GetBuildId(const ZelProductHash& product, int& build);

    // The absolute path of a program on the PATH; false when no directory there holds it.
    static bool FindExecutable(const QString& name, QString& path);

    // Bytes that the user may still write on the volume that holds `dir`, 0 when that is not known.
    qint64 GetAvailableDisk(const QDir& dir) const;

    // The download folder in the user's home; neither checked nor created.
    QString GetUserDownloadPath() const;

    QList<ZelProductHash> products;
    QHash<ZelAttrNames, QString> attributes;
    QStringList possibleLocations;
    QString rendererPath;        // of a render server, below its directory
    QString atelierRendererPath; // of Maya tools, below their directory
    QString mayaPluginPath;      // likewise

    // A member so that a machine without the program can have a stand-in.
    QString profilerPath = "/usr/sbin/system_profiler";

private:
    void setupPossibleLocations();
    void addParentLocation(const char* variable, const char* message);
};
