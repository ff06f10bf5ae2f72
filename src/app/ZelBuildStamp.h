#pragma once

// The constant build stamp: "linked ", the link date and time with zone, " _", the build number.
const char* ZelBuildDateAndVersion();

// The version: "1.0." and the build number.
const char* ZelVersion();
