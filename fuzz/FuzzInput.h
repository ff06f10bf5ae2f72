#pragma once

#include <QByteArray>
#include <QLoggingCategory>
#include <cstddef>
#include <cstdint>

// The log would be most of the work, and most of the output; warnings can only be swallowed.
extern "C" inline int LLVMFuzzerInitialize(int*, char***) {
    QLoggingCategory::setFilterRules("default.debug=false");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

// The fuzzer's bytes, not copied.
inline QByteArray fuzzBytes(const uint8_t* data, size_t size) {
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
}
