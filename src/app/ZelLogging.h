#pragma once

#include <QtGlobal>

// Switches the log on: every message of the toolkit's message functions goes to the system log
// under the identity "ZELInstaller" and to standard error. Needs the application object.
void ZelInitializeLogging();

// From here on the application object is no longer asked for the threshold; messages still go out.
void ZelFinalizeLogging();

// Writes one message to the system log; a fatal one ends the process.
void ZelPrintLogMessage(QtMsgType type, const char* message);
