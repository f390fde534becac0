# What `cmake --install` gives: headers, libraries, commands, and the configuration by which CMake's
# find_package( QVresmgt ) and pkg-config find them. All of it can be moved to another place. Each part
# is of a component: libraries, development, tools or documents, which QvDebian.cmake makes packages of.

include( CMakePackageConfigHelpers )

set( qv_libraries QVbase QVpluginAPI QVresmgt QVmediaTiles )
set( qv_config_folder "${CMAKE_INSTALL_LIBDIR}/cmake/QVresmgt" )

# tests/checks proves that all that stands outside src/ and test/ is named as public.
install( DIRECTORY base pluginAPI resmgt mediaTiles
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/qvresmgt" COMPONENT development
    FILES_MATCHING PATTERN "*.h" PATTERN "*.imp" PATTERN "*.inline"
    PATTERN src EXCLUDE PATTERN test EXCLUDE )

set_target_properties( ${qv_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN" )
install( TARGETS ${qv_libraries} EXPORT QVresmgtTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT libraries
    NAMELINK_COMPONENT development )
if( TARGET qvcomp )
    file( RELATIVE_PATH from_bin_to_lib
        "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}" )
    set_target_properties( qvcomp qvcache qvlock qvlog PROPERTIES INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}" )
    install( TARGETS qvcomp qvcache qvlock qvlog
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools )
    install( FILES tools/qvcomp/resources/messages/qvcomp.msg
        DESTINATION "${CMAKE_INSTALL_DATADIR}/qvresmgt/resources/messages" COMPONENT tools )
endif()
# A debugger reads them: docs/debugging.md.
install( FILES tools/gdb/qvresmgt.py
    DESTINATION "${CMAKE_INSTALL_DATADIR}/qvresmgt/gdb" COMPONENT development )

# The documents as they stand in the source, so that their links to one another hold, and the reference
# pages where ./reference made them.
set( qv_doc_folder "${CMAKE_INSTALL_DATADIR}/doc/qvresmgt" )
install( FILES README.md CHANGES.md SECURITY.md DESTINATION "${qv_doc_folder}" COMPONENT documents )
install( DIRECTORY docs examples DESTINATION "${qv_doc_folder}" COMPONENT documents )
# Packages say it in another way.
install( FILES LICENSE DESTINATION "${qv_doc_folder}" COMPONENT licence )
install( DIRECTORY "${CMAKE_SOURCE_DIR}/build/reference/html" DESTINATION "${qv_doc_folder}" COMPONENT documents
    OPTIONAL )

install( EXPORT QVresmgtTargets NAMESPACE QVresmgt:: DESTINATION "${qv_config_folder}"
    COMPONENT development )
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file( "${CMAKE_BINARY_DIR}/QVresmgtConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion )
install( FILES cmake/QVresmgtConfig.cmake "${CMAKE_BINARY_DIR}/QVresmgtConfigVersion.cmake"
    DESTINATION "${qv_config_folder}" COMPONENT development )

# qv_install_pc( <library> <description> [REQUIRES <library>...] )
function( qv_install_pc library description )
    cmake_parse_arguments( PARSE_ARGV 2 arg "" "" "REQUIRES" )
    list( JOIN arg_REQUIRES ", " requires )
    set( pc_folder "${CMAKE_INSTALL_LIBDIR}/pkgconfig" )
    file( RELATIVE_PATH prefix "/${pc_folder}" "/" )
    configure_file( cmake/library.pc.in "${library}.pc" @ONLY )
    install( FILES "${CMAKE_BINARY_DIR}/${library}.pc" DESTINATION "${pc_folder}"
        COMPONENT development )
endfunction()

qv_install_pc( QVbase "Failure, ownership, containers, values and the package frame" )
qv_install_pc( QVpluginAPI "The seams where an application plugs in" REQUIRES QVbase )
qv_install_pc( QVresmgt "${PROJECT_DESCRIPTION}" REQUIRES QVpluginAPI QVbase )
qv_install_pc( QVmediaTiles "Image tiles that wait in the media cache while memory has no room"
    REQUIRES QVresmgt QVpluginAPI QVbase )
