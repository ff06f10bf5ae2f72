// Any system profile is read without harm, and every Maya found in it has a name and a version.

#include "FuzzInput.h"

#include "core/zelProfileHandler.h"

#include <QXmlInputSource>
#include <QXmlSimpleReader>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZelMachineAssay assay;
    zelProfileHandler handler(&assay.products, &assay.attributes);
    QXmlSimpleReader reader;
    reader.setContentHandler(&handler);
    reader.setErrorHandler(&handler);
    QXmlInputSource source;
    source.setData(fuzzBytes(data, size));
    reader.parse(&source, false);

    QList<ZelProductHash> mayas;
    assay.GetProducts("Maya", mayas);
    if (mayas.size() != assay.products.size())
        std::abort();
    return 0;
}
