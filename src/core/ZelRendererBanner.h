#pragma once

#include <QString>

// Finds in a renderer's output what it says about itself, e.g. "Corvane Radiant Lumivex 21.0b2
// @1379633": the build, the version, and what follows the version directly ("b2", often empty).
// True on failure, with a line in the log; the numbers that were read before it stay stored.
bool ZelReadRendererBanner(const QString& output, int& buildId, int& major, int& minor,
                           QString& suffix);
