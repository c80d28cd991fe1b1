# CPack: `cpack` in the build folder makes two .deb files, or a .pkg on a Mac.
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME tarnwick)
set(CPACK_PACKAGE_CONTACT "Tarnwick maintainers <tarnwick@example.invalid>")
set(CPACK_PACKAGE_VENDOR "Tarnwick maintainers")
set(CPACK_STRIP_FILES ON)
foreach(changes CHANGELOG.md packaging/debian/changelog)
    file(READ ${PROJECT_SOURCE_DIR}/${changes} text)
    if(NOT text MATCHES "[( ]${PROJECT_VERSION}[)\n]")
        message(FATAL_ERROR "${changes} knows nothing of version ${PROJECT_VERSION}")
    endif()
endforeach()
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(APPLE)
    set(CPACK_GENERATOR productbuild)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr/local)
    set(CPACK_PRODUCTBUILD_IDENTIFIER invalid.example.tarnwick)
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    if(CMAKE_CROSSCOMPILING)  # CPack takes the builder's architecture
        execute_process(COMMAND dpkg-architecture -t ${CMAKE_LIBRARY_ARCHITECTURE} -q DEB_HOST_ARCH
            OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE)
    endif()
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
    set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/arrange.cmake)

    set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tarnwick)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION comm)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "perl, gnuplot, parallel")  # the examples
    if(TARNWICK_STATIC_PIE)
        set(linked "The programs in usr/bin contain")
        set(expat_copyright /usr/share/doc/libexpat1-dev/copyright)
        if(EXISTS ${expat_copyright})
            file(READ ${expat_copyright} expat)
        endif()
        set(linked_libraries "
 expat     MIT, see below
 glibc     LGPL-2.1 or later: /usr/share/common-licenses/LGPL-2.1")
    else()
        set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
        set(linked "usr/bin/Tarnwick contains")
    endif()
    string(REGEX MATCH "^[0-9]+" compiler ${CMAKE_CXX_COMPILER_VERSION})
    set(CPACK_TARNWICK_COPYRIGHT ${CMAKE_CURRENT_BINARY_DIR}/copyright)
    configure_file(debian/copyright.in copyright @ONLY)
    set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"diagnose and factory-test a notebook's cellular module
Tarnwick queries a cellular (WWAN) module, switches its radio, tests its SIM
interface, its receivers and its transmitter, and drives the signal generator
that a receive test needs. tarnwick-station simulates the modules and the
generator, so that station scripts can be written without hardware.")

    set(CPACK_DEBIAN_DEVEL_PACKAGE_NAME libtarnwick-devicetree-dev)
    set(CPACK_DEBIAN_DEVEL_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS "libexpat1-dev")
    set(CPACK_COMPONENT_DEVEL_DESCRIPTION
"I/O registry properties as bytes (development files)
A library that finds entries of an I/O registry and reads and writes their
properties. It works on captures of a registry as well.")
endif()

include(CPack)
