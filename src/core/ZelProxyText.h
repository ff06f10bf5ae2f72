#pragma once

#include <QNetworkProxy>
#include <optional>

// The HTTP proxy that a text of the form "host:port" names; nothing when it does not have exactly
// two parts. A port that is not a number reads as 0, a larger one wraps at 16 bits.
std::optional<QNetworkProxy> ZelProxyFromText(const QString& text);
