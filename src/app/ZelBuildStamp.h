#pragma once

// The constant build stamp: "linked ", the link date and time with zone, " _", the build number.
const char* ZelBuildDateAndVersion();
