// A banner that is accepted has the numbers that its patterns allow.

#include "FuzzInput.h"

#include "core/ZelRendererBanner.h"

#include <QString>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int buildId = -1;
    int major = -1;
    int minor = -1;
    QString suffix;
    const QString output = QString::fromLocal8Bit(fuzzBytes(data, size));
    const bool failed = ZelReadRendererBanner(output, buildId, major, minor, suffix);
    if (!failed && (buildId < 0 || major < 10 || major > 99 || minor < 0 || minor > 9))
        std::abort();
    return 0;
}
