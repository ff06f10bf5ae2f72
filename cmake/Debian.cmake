# What the Debian package has beside the tree in /opt, at the places where the system looks: commands, an entry in the
# desktop's menu, icons, manual pages and papers. None of it is made before the package is.
set(id example.corvane.lumivex.installer)
set(tree /opt/corvane/lumivex-installer)
set(source ${PROJECT_SOURCE_DIR}/packaging/debian)
set(made ${CMAKE_BINARY_DIR}/debian)
set(documents /usr/share/doc/${CPACK_PACKAGE_NAME})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_NAME ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Corvane <support@${ZEL_VENDOR_HOST}>")
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS xdg-utils) # shows pages in the browser
file(READ ${source}/description CPACK_DEBIAN_PACKAGE_DESCRIPTION)

# SOURCE_DATE_EPOCH, when set, replaces the clock.
string(TIMESTAMP day "%Y-%m-%d" UTC)
string(TIMESTAMP moment "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${source}/changelog.in ${made}/changelog @ONLY)
configure_file(${source}/${id}.metainfo.xml.in ${made}/${id}.metainfo.xml @ONLY)

install(FILES ${source}/${id}.desktop DESTINATION /usr/share/applications COMPONENT debian)
install(FILES ${made}/${id}.metainfo.xml DESTINATION /usr/share/metainfo COMPONENT debian)
install(FILES ${source}/copyright DESTINATION ${documents} COMPONENT debian)
install(FILES ${source}/lintian-overrides DESTINATION /usr/share/lintian/overrides
    RENAME ${CPACK_PACKAGE_NAME} COMPONENT debian)
install(FILES art/zel.svg DESTINATION /usr/share/icons/hicolor/scalable/apps RENAME ${id}.svg COMPONENT debian)

function(zel_install_made command output folder)
    install(CODE "execute_process(COMMAND ${command} OUTPUT_FILE \"${made}/${output}\" COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT debian)
    install(FILES ${made}/${output} DESTINATION ${folder} COMPONENT debian)
endfunction()
zel_install_made("gzip -9nc \"${made}/changelog\"" changelog.gz ${documents})
zel_install_made("gzip -9nc \"${PROJECT_SOURCE_DIR}/CHANGELOG.md\"" NEWS.gz ${documents})
foreach(page ${source}/${CPACK_PACKAGE_NAME}.1 ${PROJECT_SOURCE_DIR}/tools/zelplan/zelplan.1)
    cmake_path(GET page FILENAME name)
    zel_install_made("gzip -9nc \"${page}\"" ${name}.gz /usr/share/man/man1)
endforeach()
foreach(size 16 24 32 48 64 128 256)
    set(folder icons/hicolor/${size}x${size}/apps)
    file(MAKE_DIRECTORY ${made}/${folder})
    zel_install_made("rsvg-convert -w ${size} \"${PROJECT_SOURCE_DIR}/art/zel.svg\"" ${folder}/${id}.png
        /usr/share/${folder})
endforeach()

file(CREATE_LINK ${tree}/${bundle}/Contents/MacOS/ZELInstaller ${made}/${CPACK_PACKAGE_NAME} SYMBOLIC)
file(CREATE_LINK ${tree}/bin/zelplan ${made}/zelplan SYMBOLIC)
install(FILES ${made}/${CPACK_PACKAGE_NAME} ${made}/zelplan DESTINATION /usr/bin COMPONENT debian)
