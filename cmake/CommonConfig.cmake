# What every target of this project is built with.
add_library(zel_common INTERFACE)
target_compile_features(zel_common INTERFACE cxx_std_20)
target_compile_options(zel_common INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
if(ZEL_WARNINGS_AS_ERRORS)
    target_compile_options(zel_common INTERFACE -Werror)
endif()
if(NOT APPLE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize") # as Debian builds its own programs
    target_compile_options(zel_common INTERFACE
        $<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=2 -fstack-protector-strong>)
    target_link_options(zel_common INTERFACE LINKER:-z,relro,-z,now)
endif()

add_library(zel_qt INTERFACE)
target_link_libraries(zel_qt INTERFACE zel_common Qt6::Core Qt6::Network Qt6::Core5Compat)
target_include_directories(zel_qt INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_compile_definitions(zel_qt INTERFACE
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_CAST_TO_ASCII
    QT_NO_FOREACH
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_URL_CAST_FROM_STRING
)

# The staged tree has the shape of an installed one: programs at <stage>/<folder>/<name>.app/Contents/MacOS,
# resources at <stage>/lib/Resources. A program started from there finds its resources as it does when installed.
set(ZEL_STAGE ${CMAKE_BINARY_DIR}/stage)
file(MAKE_DIRECTORY ${ZEL_STAGE}/lib)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/lib/Resources ${ZEL_STAGE}/lib/Resources SYMBOLIC)

function(zel_stage target folder name)
    set_target_properties(${target} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY ${ZEL_STAGE}/${folder}/${name}.app/Contents/MacOS)
endfunction()
