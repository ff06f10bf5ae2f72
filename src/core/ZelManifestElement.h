#pragma once

#include <QFile>
#include <QList>
#include <QRegExp>
#include <QSharedPointer>
#include <QString>
#include <QUrl>

// One product that the vendor's server offers: a downloadable package and what is known of it.
// The queries that can fail return true on failure and leave their out-parameter unchanged.
class ZelManifestElement {
public:
    QString BuildID;                        // build number, kept as text
    QUrl DownloadURL;                       // absolute address; empty when there is no download
    QString SimpleName;                     // name for people, may be empty
    QString Name;                           // file name of the package
    bool EligibleCommunityDownload = false; // offered to holders of a forum account
    qint64 FileSize = 0;                    // bytes
    bool downloaded = false;                // a complete package is on disk
    QSharedPointer<QFile> file;             // the local package; copies of the record share it

    // What a person reads, and what every rule looks at: SimpleName, or Name when that is empty.
    const QString& label() const { return SimpleName.isEmpty() ? Name : SimpleName; }

    // The build as a number, 0 when the text is not one.
    void GetBuildId(int& id) const;

    bool GetIsFarmServer() const;
    bool GetIsLATForMaya() const;

    // The first version ("21.0") in the label. True when there is none.
    bool GetVersion(QString& version) const;
    bool GetVersion(float& version) const;

    // Index of the last record whose label matches `pattern` and carries a version, -1 when there
    // is none. The order of the manifest decides between several, not the versions themselves: a
    // later record replaces an earlier one.
    static int FindHighestVersionOfProduct(const QList<ZelManifestElement>& list, QRegExp& pattern);
};

// A list of many products then grows without touching each of them.
Q_DECLARE_TYPEINFO(ZelManifestElement, Q_RELOCATABLE_TYPE);
