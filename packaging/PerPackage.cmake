# Read by CPack once for each kind of package.
if(CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_PACKAGING_INSTALL_PREFIX /opt/corvane/lumivex-installer)
else()
    set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON) # one folder, named after the package
endif()
