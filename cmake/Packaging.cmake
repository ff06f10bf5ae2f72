# What is shipped: the bundle and, beside the folder that holds it, the resources. The tree can be moved as a whole. On
# Linux it becomes an archive and a Debian package, on macOS a disk image. Building all is no condition for packing.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(bundle Applications/LumivexCommunityInstaller.app)
install(TARGETS zelinstaller RUNTIME DESTINATION ${bundle}/Contents/MacOS COMPONENT installer)
install(DIRECTORY lib/Resources DESTINATION lib COMPONENT installer PATTERN README.md EXCLUDE)

if(APPLE)
    configure_file(packaging/macos/Info.plist.in ${CMAKE_BINARY_DIR}/generated/Info.plist @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/generated/Info.plist DESTINATION ${bundle}/Contents COMPONENT installer)
    install(FILES packaging/macos/zel.icns DESTINATION ${bundle}/Contents/Resources COMPONENT installer)
    find_program(ZEL_MACDEPLOYQT macdeployqt HINTS ${Qt6_DIR}/../../../bin REQUIRED)
    install(CODE "execute_process(
        COMMAND ${ZEL_MACDEPLOYQT} \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${bundle}\"
        COMMAND_ERROR_IS_FATAL ANY)" COMPONENT installer)
    set(CPACK_GENERATOR DragNDrop)
    set(CPACK_DMG_DISABLE_APPLICATIONS_SYMLINK ON) # it is started from the image: without lib beside it, it is bare
else()
    install(TARGETS zelplan RUNTIME DESTINATION bin COMPONENT installer)
    set(CPACK_GENERATOR TGZ DEB)
endif()

set(CPACK_PACKAGE_NAME lumivex-community-installer)
set(CPACK_PACKAGE_VENDOR Corvane)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Installs the Lumivex rendering products")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://${ZEL_VENDOR_HOST}")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL installer)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
if(NOT APPLE)
    include(cmake/Debian.cmake)
endif()
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/PerPackage.cmake)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
