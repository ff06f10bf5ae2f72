// Any document is read without harm, and what the rules find in it is there.

#include "FuzzInput.h"

#include "core/ZelManifestHandler.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QList<ZelManifestElement> list;
    ZelManifestHandler handler(list);
    handler.read(fuzzBytes(data, size));

    QRegExp pattern("Atelier.*Maya.*2014([^.]|$)");
    const int found = ZelManifestElement::FindHighestVersionOfProduct(list, pattern);
    if (found >= list.size() || (found >= 0 && list[found].label().isEmpty()))
        std::abort();
    return 0;
}
