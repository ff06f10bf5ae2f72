#pragma once

#include "Manifest.h"

// For people.
void printText(const QList<Manifest>& manifests);

// For programs.
void printJson(const QList<Manifest>& manifests);

// For forges, which show it beside the lines: SARIF 2.1.0. With a `problem` the check itself
// failed.
void printSarif(const QList<Manifest>& manifests, const QString& problem);
