// A text names a proxy exactly when it has one colon, and the host is what stands before it.

#include "FuzzInput.h"

#include "core/ZelProxyText.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(fuzzBytes(data, size));
    const auto proxy = ZelProxyFromText(text);
    if (proxy.has_value() != (text.count(':') == 1))
        std::abort();
    if (proxy && proxy->hostName() != text.section(':', 0, 0))
        std::abort();
    return 0;
}
