# Read by CPack once for each kind of package.
if(CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_SET_DESTDIR ON) # it has files outside of the tree
    set(CPACK_INSTALL_PREFIX /opt/corvane/lumivex-installer)
    list(APPEND CPACK_COMPONENTS_ALL debian)
else()
    set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON) # one folder, named after the package
endif()
