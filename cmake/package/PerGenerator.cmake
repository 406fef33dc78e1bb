# Read by CPack once per generator: only the archives get a top-level folder (a .deb installs from /).
if(CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY OFF)
endif()
