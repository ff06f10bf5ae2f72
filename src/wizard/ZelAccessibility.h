#pragma once

// Tells assistive technology what the toolkit would tell it wrong; see the .cpp file. For the whole
// program, once is enough.
void ZelInstallAccessibility();
