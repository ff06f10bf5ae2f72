#pragma once

#include <QByteArray>
#include <QLoggingCategory>
#include <cstddef>
#include <cstdint>

// The log would be most of the work, and most of the output.
static const bool quiet = [] {
    QLoggingCategory::setFilterRules("default.debug=false");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return true;
}();

// The fuzzer's bytes, not copied.
inline QByteArray fuzzBytes(const uint8_t* data, size_t size) {
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
}
