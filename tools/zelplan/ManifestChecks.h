#pragma once

#include "Manifest.h"

// Adds to the findings what the records, as the reader delivered them, mean for the rules and the
// download. The rules are asked, not repeated. With an older manifest, itself checked, also what
// changed for the worse; findings that it has too become known ones.
void checkManifest(Manifest& manifest, const Manifest* older);

// The part of it that goes by the order of the records: which ones the rules never take.
void checkOrder(Manifest& manifest);

// Asks the servers for the beginnings of the packages, some at a time, and adds what is wrong with
// the answers to the findings. The time-out, in milliseconds, is for each answer.
void probeAddresses(Manifest& manifest, int timeout);
