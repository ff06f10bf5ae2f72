# Writes the source file with the build stamp ("linked ", date and time with zone, " _", build number) and the version.
# SOURCE_DATE_EPOCH, when set, replaces the clock (string(TIMESTAMP) honours it), so that builds can be reproduced.
string(TIMESTAMP when "%a %b %d %H:%M:%S %Y UTC" UTC)
string(REGEX MATCH "[0-9]+$" number ${VERSION})

file(WRITE ${OUTPUT}
"#include \"app/ZelBuildStamp.h\"

const char* ZelBuildDateAndVersion() { return \"linked ${when} _${number}\"; }
const char* ZelVersion() { return \"${VERSION}\"; }
")
