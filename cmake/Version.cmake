# The version is 1.0 and the number of commits: a newer build has a higher one and takes the place of an older one.
set(ZEL_BUILD_NUMBER "" CACHE STRING
    "Last part of the version, and build number in the build stamp; empty takes the number of commits")
set(ZEL_VERSION 1.0.${ZEL_BUILD_NUMBER})
if(ZEL_BUILD_NUMBER STREQUAL "")
    # Not the commits of a repository that this folder happens to lie in, and not the few of a shallow clone.
    set(git git --git-dir=${CMAKE_CURRENT_SOURCE_DIR}/.git)
    execute_process(COMMAND ${git} rev-parse --is-shallow-repository
        OUTPUT_VARIABLE shallow ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(shallow STREQUAL "false")
        execute_process(COMMAND ${git} rev-list --count HEAD
            OUTPUT_VARIABLE number OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        execute_process(COMMAND ${git} rev-parse --git-path logs/HEAD
            OUTPUT_VARIABLE commits OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(EXISTS ${commits}) # each commit is another version
            set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${commits})
        endif()
    else()
        set(number 0)
        message(WARNING "The history is not at hand, so the version is 1.0.0. Give one with -D ZEL_BUILD_NUMBER=NUMBER.")
    endif()
    set(ZEL_VERSION 1.0.${number})
endif()
