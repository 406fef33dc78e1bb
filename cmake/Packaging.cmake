# Packages made by CPack from the install rules (components sdk and demo), one package per
# platform: TarnFoundation-<version>-Linux.tar.gz and a .deb from a Linux build,
# TarnFoundation-<version>-win64.zip from the Windows build.
set(CPACK_PACKAGE_NAME TarnFoundation)
set(CPACK_PACKAGE_VENDOR "Tarn engine team")
set(CPACK_PACKAGE_CONTACT "Tarn engine team <tarn-dev@tarn.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "foundation library of the Tarn real-time 3D engine")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL sdk demo)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
# Archives unpack into one folder named after themselves.
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_LIST_DIR}/package/PerGenerator.cmake")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CHECKSUM SHA256)

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_SYSTEM_NAME win64)
    set(CPACK_PACKAGE_FILE_NAME "TarnFoundation-${PROJECT_VERSION}-win64")
    # Windows does not strip with the host's tools; the mingw binaries carry no debug info in release.
    set(CPACK_STRIP_FILES OFF)
else()
    set(CPACK_GENERATOR TGZ DEB)
    set(CPACK_PACKAGE_FILE_NAME "TarnFoundation-${PROJECT_VERSION}-Linux")
    set(CPACK_ARCHIVE_FILE_NAME "TarnFoundation-${PROJECT_VERSION}-Linux")

    set(CPACK_DEBIAN_PACKAGE_NAME tarn-foundation)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
    # The synopsis is the summary above; this is the extended description under it.
    string(CONCAT CPACK_DEBIAN_PACKAGE_DESCRIPTION
        "Tagged allocation and binary buffers, strings and hashes, pooled containers,\n"
        "reflection, an entity/component model, logging, files, the application shell,\n"
        "input, IPv4 networking with message hubs and a framed TCP transport, and\n"
        "planar polygon and geodetic helpers, with the headers, the CMake package and\n"
        "the pkg-config file to build against it, and a demo program.")
    # The run-time dependencies come from what the library links (dpkg-shlibdeps); the headers
    # need glm's.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "libglm-dev")
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
    set(_triggers "${CMAKE_BINARY_DIR}/package/triggers")
    file(WRITE "${_triggers}" "activate-noawait ldconfig\n")
    set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${_triggers}")

    # Debian's documentation files: the copyright, a compressed changelog and lintian overrides.
    set(_doc "${CMAKE_INSTALL_DATADIR}/doc/tarn-foundation")
    file(WRITE "${CMAKE_BINARY_DIR}/package/changelog"
        "tarn-foundation (${PROJECT_VERSION}) unstable; urgency=medium\n\n"
        "  * Release ${PROJECT_VERSION}.\n\n"
        " -- ${CPACK_PACKAGE_CONTACT}  Mon, 23 Nov 2026 00:00:00 +0000\n")
    execute_process(COMMAND gzip -9nf "${CMAKE_BINARY_DIR}/package/changelog")
    install(FILES "${PROJECT_SOURCE_DIR}/cmake/package/copyright" "${CMAKE_BINARY_DIR}/package/changelog.gz"
        DESTINATION "${_doc}" COMPONENT sdk)
    install(FILES "${PROJECT_SOURCE_DIR}/cmake/package/lintian-overrides"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME tarn-foundation COMPONENT demo)
endif()

include(CPack)
