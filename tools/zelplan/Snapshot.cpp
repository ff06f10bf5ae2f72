#include "Snapshot.h"

#include "core/ZelDownloadFolder.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

constexpr char formatName[] = "zelplan-snapshot";
constexpr int formatVersion = 1;
constexpr qint64 fileLimit = 16 * 1024 * 1024;

const QHash<QString, ZelAttrNames>& attributeNames() {
    static const QHash<QString, ZelAttrNames> names{
        {"physicalMemory", ZelAttrPhysicalMemory},
        {"platform", ZelAttrPlatform},
        {"installProblem", ZelAttrInstallProblem},
    };
    return names;
}

// The path with "~" for the home directory and "USER" for the user's name as a word anywhere else.
QString anonymous(QString path) {
    const QString home = QDir::homePath();
    for (const QString& directory : {home, QFileInfo(home).canonicalFilePath()}) {
        if (directory.size() > 1 && (path == directory || path.startsWith(directory + '/')))
            path = '~' + path.mid(directory.size());
    }
    const QStringList names{QFileInfo(home).fileName(), qEnvironmentVariable("USER"),
                            qEnvironmentVariable("LOGNAME")};
    for (const QString& name : names) {
        if (name.isEmpty())
            continue;
        const QRegularExpression word("(?<![[:alnum:]])" + QRegularExpression::escape(name) +
                                          "(?![[:alnum:]])",
                                      QRegularExpression::CaseInsensitiveOption |
                                          QRegularExpression::UseUnicodePropertiesOption);
        path.replace(word, "USER");
    }
    return path;
}

bool readProducts(const QJsonValue& value, QList<ZelProductHash>& products) {
    for (const auto& entry : value.toArray()) {
        ZelProductHash product;
        const QJsonObject fields = entry.toObject();
        for (auto field = fields.begin(); field != fields.end(); ++field) {
            if (!field.value().isString())
                return false;
            product[field.key()] = field.value().toString();
        }
        if (!product.contains("ProductName") || !product.contains("Version"))
            return false;
        products << product;
    }
    return value.isArray();
}

bool readAttributes(const QJsonValue& value, QHash<ZelAttrNames, QString>& attributes) {
    const QJsonObject fields = value.toObject();
    for (auto field = fields.begin(); field != fields.end(); ++field) {
        const auto name = attributeNames().constFind(field.key());
        if (name == attributeNames().constEnd() || !field.value().isString())
            return false;
        attributes[*name] = field.value().toString();
    }
    return value.isObject();
}

// Nothing, with the reason in `problem`, when the file is not a snapshot of the one known format.
std::optional<Snapshot> readSnapshot(const QString& path, QString& problem) {
    const std::optional<QByteArray> bytes = readFile(path, fileLimit, problem);
    if (!bytes)
        return {};

    const QJsonObject json = QJsonDocument::fromJson(*bytes).object();
    Snapshot snapshot;
    snapshot.file = path == "-" ? QString("<stdin>") : path;
    snapshot.folder = json["downloadFolder"].toString();
    snapshot.freeBytes = json["freeBytes"].toInteger(-1);
    const char* fault = nullptr;
    if (json["format"] != formatName)
        fault = "format";
    else if (json["formatVersion"] != formatVersion)
        fault = "formatVersion";
    else if (!readAttributes(json["attributes"], snapshot.assay.attributes))
        fault = "attributes";
    else if (!readProducts(json["products"], snapshot.assay.products))
        fault = "products";
    else if (!json["downloadFolder"].isString())
        fault = "downloadFolder";
    else if (snapshot.freeBytes < 0)
        fault = "freeBytes";
    if (!fault)
        return snapshot;
    problem = QString("%1: not a snapshot, or a damaged one: its \"%2\" is not as it should be")
                  .arg(path, fault);
    return {};
}

} // namespace

Snapshot takeSnapshot(const QString& profilerPath) {
    Snapshot snapshot;
    if (!profilerPath.isEmpty())
        snapshot.assay.profilerPath = profilerPath;
    snapshot.assay.DoAssay();
    const QDir folder = ZelChooseDownloadFolder();
    snapshot.folder = anonymous(folder.absolutePath());
    snapshot.freeBytes = snapshot.assay.GetAvailableDisk(folder);
    for (ZelProductHash& product : snapshot.assay.products) {
        if (product.contains("Location"))
            product["Location"] = anonymous(product["Location"]);
    }
    return snapshot;
}

QByteArray snapshotToJson(const Snapshot& snapshot) {
    QJsonObject attributes;
    for (auto name = attributeNames().begin(); name != attributeNames().end(); ++name) {
        QString value;
        if (snapshot.assay.FindMachineProperty(name.value(), value))
            attributes[name.key()] = value;
    }
    QJsonArray products;
    for (const ZelProductHash& product : snapshot.assay.products) {
        QJsonObject fields;
        for (auto field = product.begin(); field != product.end(); ++field)
            fields[field.key()] = field.value();
        products << fields;
    }
    return QJsonDocument(QJsonObject{
                             {"format", formatName},
                             {"formatVersion", formatVersion},
                             {"toolVersion", QCoreApplication::applicationVersion()},
                             {"attributes", attributes},
                             {"products", products},
                             {"downloadFolder", snapshot.folder},
                             {"freeBytes", snapshot.freeBytes},
                         })
        .toJson();
}

std::optional<QList<Snapshot>> readSnapshots(const QStringList& paths, QString& problem) {
    QList<Snapshot> snapshots;
    for (const QString& path : paths) {
        std::optional<Snapshot> snapshot = readSnapshot(path, problem);
        if (!snapshot)
            return {};
        snapshots << std::move(*snapshot);
    }
    return snapshots;
}

std::optional<QByteArray> readFile(const QString& path, qint64 limit, QString& problem) {
    QFile file(path);
    if (QFileInfo(path).isDir()) {
        problem = path + ": a directory, not a file";
        return {};
    }
    if (path == "-" ? !file.open(stdin, QIODevice::ReadOnly) : !file.open(QIODevice::ReadOnly)) {
        problem = QString("%1: %2").arg(path, file.errorString());
        return {};
    }
    const QByteArray bytes = file.read(limit + 1);
    if (file.error() != QFile::NoError)
        problem = QString("%1: %2").arg(path, file.errorString());
    else if (bytes.isEmpty())
        problem = path + ": an empty file";
    else if (bytes.size() > limit)
        problem = QString("%1: larger than the %2 bytes that are read").arg(path).arg(limit);
    else
        return bytes;
    return {};
}
