// Any system profile is read without harm, and every Maya found in it has a name and a version.

#include "FuzzInput.h"

#include "core/zelProfileHandler.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZelMachineAssay assay;
    zelProfileHandler handler(&assay.products, &assay.attributes);
    handler.read(fuzzBytes(data, size));

    QList<ZelProductHash> mayas;
    assay.GetProducts("Maya", mayas);
    if (mayas.size() != assay.products.size())
        std::abort();
    return 0;
}
