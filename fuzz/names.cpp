// No name in a manifest leads out of the download folder, and every temporary path has a final one.

#include "FuzzInput.h"

#include "core/ZelDownloadFolder.h"

#include <QFileInfo>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const QDir folder = QDir::temp(); // it has to exist, as the real one does
    const QString temp = ZelFreeTempPath(folder, QString::fromUtf8(fuzzBytes(data, size)));
    const QString final = ZelFinalNameFromTempName(temp);
    if (QFileInfo(temp).path() != folder.path() || QFileInfo(final).path() != folder.path())
        std::abort();
    if (!temp.endsWith(".zeldownload") || temp != final + ".zeldownload")
        std::abort();
    const QString name = QFileInfo(final).fileName();
    if (name.contains('/') || name == "." || name == "..")
        std::abort();
    return 0;
}
