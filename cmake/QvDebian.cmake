# Debian packages of what is installed, by ./package or by cpack in a build folder: the libraries, the
# files to develop with, the commands, the documents.

set( qv_library_package "libqvresmgt${qv_interface_version}" )

set( CPACK_GENERATOR DEB )
set( CPACK_COMPONENTS_ALL libraries development tools documents )
if( NOT TARGET qvcomp )
    list( REMOVE_ITEM CPACK_COMPONENTS_ALL tools )
endif()
set( CPACK_DEB_COMPONENT_INSTALL ON )
set( CPACK_PACKAGE_NAME qvresmgt )
set( CPACK_PACKAGE_VERSION ${PROJECT_VERSION} )
set( CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages" )
set( CPACK_STRIP_FILES ON )
set( CPACK_DEBIAN_FILE_NAME DEB-DEFAULT )
set( CPACK_DEBIAN_PACKAGE_MAINTAINER "QVresmgt maintainers <maintainers@users.noreply.c-seed-a6b38361.example>" )
set( CPACK_DEBIAN_PACKAGE_PRIORITY optional )
# What a folder of the build allows others is no business of the system's folders.
set( CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE )
# Dependencies on the system's libraries are read from the files, those on each other named here.
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON )
set( CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}" )

# qv_debian_package( <component> <package> <section> <text> [ARCHITECTURE <name>]
# [DEPENDS <package>...] )
macro( qv_debian_package component package section text )
    cmake_parse_arguments( arg "" "ARCHITECTURE" "DEPENDS" ${ARGN} )
    string( TOUPPER ${component} upper )
    set( CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} )
    set( CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} )
    set( CPACK_DEBIAN_${upper}_DESCRIPTION "${text}" )
    if( arg_ARCHITECTURE )
        set( CPACK_DEBIAN_${upper}_PACKAGE_ARCHITECTURE ${arg_ARCHITECTURE} )
        set( CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS OFF )
    endif()
    list( TRANSFORM arg_DEPENDS APPEND " (= ${PROJECT_VERSION})" )
    list( JOIN arg_DEPENDS ", " depends )
    set( CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" )
    # What only a package has.
    set( qv_package_folder "${CMAKE_INSTALL_DATADIR}/doc/${package}" )
    install( FILES packaging/debian/copyright DESTINATION "${qv_package_folder}"
        COMPONENT ${component} EXCLUDE_FROM_ALL )
    install( FILES "${CMAKE_BINARY_DIR}/debian/changelog.gz" DESTINATION "${qv_package_folder}"
        COMPONENT ${component} EXCLUDE_FROM_ALL )
endmacro()

qv_debian_package( libraries ${qv_library_package} libs
    "The shared libraries: memory for image tiles that is bounded, lockable and
swappable to disk, and the locks, threads, files and configuration around it." )
qv_debian_package( development libqvresmgt-dev libdevel
    "Headers, CMake and pkg-config configurations of the libraries, and what shows
their types in the debugger gdb."
    DEPENDS ${qv_library_package} )
qv_debian_package( tools qvresmgt-tools graphics
    "qvcomp composites images of any size in bounded memory, qvcache shows and
cleans a media cache, qvlock runs a command under a file's lock, and qvlog
prints the log lines of killed processes."
    DEPENDS ${qv_library_package} )
qv_debian_package( documents qvresmgt-doc doc
    "Guides, reference pages and examples of the libraries and their commands."
    ARCHITECTURE all )

# Programs find a library that was installed, and the next of its interface version in its place.
set( CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON )
set( CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=" )
file( CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/debian/triggers" CONTENT "activate-noawait ldconfig\n" )
set( CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA "${CMAKE_BINARY_DIR}/debian/triggers" )
set( CPACK_POST_BUILD_SCRIPTS "${CMAKE_SOURCE_DIR}/packaging/debian/withoutScripts.cmake" )

# The debugger loads it together with the library.
install( FILES tools/gdb/qvresmgt.py
    DESTINATION "${CMAKE_INSTALL_DATADIR}/gdb/auto-load/usr/${CMAKE_INSTALL_LIBDIR}"
    RENAME libQVbase.so.${PROJECT_VERSION}-gdb.py COMPONENT development EXCLUDE_FROM_ALL )

# Why a package isn't as lintian would have it.
install( FILES packaging/debian/libraries.lintian-overrides
    DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME ${qv_library_package}
    COMPONENT libraries EXCLUDE_FROM_ALL )

configure_file( packaging/debian/changelog.in debian/changelog @ONLY )
# Without the time, so that the same source makes the same package.
execute_process( COMMAND gzip -9 -n -c "${CMAKE_BINARY_DIR}/debian/changelog"
    OUTPUT_FILE "${CMAKE_BINARY_DIR}/debian/changelog.gz" COMMAND_ERROR_IS_FATAL ANY )

include( CPack )
