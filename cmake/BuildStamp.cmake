# Writes the source file with the build stamp: "linked ", date and time with zone, " _", build number.
# SOURCE_DATE_EPOCH, when set, replaces the clock (string(TIMESTAMP) honours it), so that builds can be reproduced.
string(TIMESTAMP when "%a %b %d %H:%M:%S %Y UTC" UTC)

set(number "${BUILD_NUMBER}")
if(number STREQUAL "")
    execute_process(
        COMMAND git -C ${SOURCE_DIR} rev-list --count HEAD
        OUTPUT_VARIABLE number ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(number STREQUAL "")
        set(number 0)
    endif()
endif()

file(WRITE ${OUTPUT}
"#include \"app/ZelBuildStamp.h\"

const char* ZelBuildDateAndVersion() { return \"linked ${when} _${number}\"; }
")
