#pragma once

#include <QDir>
#include <QString>

// Ends the name of a package that is not complete yet.
inline constexpr char ZelTempSuffix[] = "zeldownload";

// Stands in when no temporary path can be made. "unkown" is how the name has always read.
inline constexpr char ZelNoTempPath[] = "unkown.zeldownload";

// The folder for packages: the user's own download folder, else the system's temporary one, else
// the current directory. The first that exists and can be written to counts; the last is not
// tested.
QDir ZelChooseDownloadFolder();

// The package's file name without any directory: what a manifest names must never lead out of the
// download folder. Empty when nothing usable is left.
QString ZelPackageFileName(const QString& manifestName);

// A temporary path in `folder` of which neither the path itself nor the final name that belongs to
// it exists. When 10000 numbered names are taken, one in the current directory; when those are
// taken too, ZelNoTempPath.
QString ZelFreeTempPath(const QDir& folder, const QString& manifestName);

// The final path that belongs to a temporary one; a path without the temporary suffix comes back
// unchanged.
QString ZelFinalNameFromTempName(const QString& tempName);

// Renames a file within its file system. False when that cannot be, or when something has the new
// name already: nothing is replaced, and nothing copied, which would show half a file meanwhile.
bool ZelRenameFile(const QString& from, const QString& to);
