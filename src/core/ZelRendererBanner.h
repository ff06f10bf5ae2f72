#pragma once

#include <QString>

// What a renderer says about itself, e.g. "Corvane Radiant Lumivex 21.0b2 @1379633".
struct ZelRendererBanner {
    int buildId = 0;
    int major = 0;
    int minor = 0;
    QString suffix; // what follows the version directly, "b2" above; often empty
};

// Finds build and version in a renderer's output. True on failure, with a line in the log; the
// fields that were read before it stay stored.
bool ZelReadRendererBanner(const QString& output, ZelRendererBanner& banner);
