# qv_package( <name> [USES <package>...] [HEADERS ...] [SOURCES ...] [POSIX ...] [WINDOWS ...] [TESTS ...]
#             [WRAPPED_CALLS ...] [TEST_LINKS ...] )
#
# Declares one package of the library whose folder holds the calling CMakeLists.txt: base,
# pluginAPI, a folder of resmgt, or mediaTiles. The package is compiled once, as an object library. The
# library that it belongs to and its white-box tests take those objects.
#
#   USES     the packages whose public headers it may include, nothing more; the build checks it
#   HEADERS  public headers, relative to the package's folder. Each compiles alone: a source that
#            bears its name includes it first; one without such a source is compiled on its own by
#            the target all_verify_interface_header_sets.
#   SOURCES  portable sources
#   POSIX, WINDOWS  the sources of one port; the build takes those of the platform
#   TESTS    sources of the one white-box test program, <name>Test
#   WRAPPED_CALLS  the system's functions that the test program calls through functions of its own,
#            __wrap_<call>, so that tests can make them fail; the tests know the list as
#            QV_WRAPPED_CALLS
#   TEST_LINKS  further libraries of the test program
#
# qv_test_environment( <package> <suffix> VARIABLE=value... ) runs the package's test program a
# second time, under these environment variables.
#
# qv_package_fuzzer( <package> <program> <source>... [PROMISE <function>] [LINKS ...] ) makes a program
# that searches for a failing input of the function LLVMFuzzerTestOneInput in the sources, or of the
# function Qv::<function>( std::string_view ); only under the preset fuzz. The sources stand under TESTS
# too, where a test calls the function with random inputs.
#
# qv_finish_libraries() makes the shared libraries once all packages are declared. The test programs
# are made by qv_finish_package_tests() of QvTest.cmake.

define_property( GLOBAL PROPERTY QV_PACKAGES )

# Libraries of the same interface version take each other's place: docs/versions.md. Before 1.0 a minor
# version may change the interface.
set( qv_interface_version ${PROJECT_VERSION_MAJOR} )
if( PROJECT_VERSION_MAJOR EQUAL 0 )
    set( qv_interface_version 0.${PROJECT_VERSION_MINOR} )
endif()

function( qv_package name )
    cmake_parse_arguments( PARSE_ARGV 1 arg "" ""
        "USES;HEADERS;SOURCES;POSIX;WINDOWS;TESTS;WRAPPED_CALLS;TEST_LINKS" )
    if( arg_UNPARSED_ARGUMENTS )
        message( FATAL_ERROR "qv_package( ${name} ): '${arg_UNPARSED_ARGUMENTS}' belongs to no list" )
    endif()
    file( RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}" )
    string( REGEX REPLACE "/.*" "" library "${folder}" )
    if( WIN32 )
        set( port ${arg_WINDOWS} )
    else()
        set( port ${arg_POSIX} )
    endif()

    add_library( ${name}_objects OBJECT ${arg_SOURCES} ${port} )
    target_link_libraries( ${name}_objects PRIVATE qv_build )
    qv_precompile( ${name}_objects )
    string( TOUPPER "${library}" upper )
    target_compile_definitions( ${name}_objects PRIVATE QV_BUILDING_${upper} )
    qv_headers_without_source( lonely "${arg_HEADERS}" "${arg_SOURCES};${port}" )
    if( lonely )
        target_sources( ${name}_objects PUBLIC FILE_SET HEADERS
            BASE_DIRS "${CMAKE_SOURCE_DIR}" FILES ${lonely} )
        set_target_properties( ${name}_objects PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON )
        # The header check compiles with the interface's options alone.
        target_link_libraries( ${name}_objects INTERFACE qv_build )
    endif()

    set( tests )
    foreach( test IN LISTS arg_TESTS )
        list( APPEND tests "${CMAKE_CURRENT_SOURCE_DIR}/${test}" )
    endforeach()
    list( TRANSFORM arg_HEADERS PREPEND "${folder}/" OUTPUT_VARIABLE headers )
    list( TRANSFORM lonely PREPEND "${folder}/" )
    set_property( GLOBAL APPEND PROPERTY QV_PACKAGES ${name} )
    set_property( GLOBAL PROPERTY QV_${name}_LIBRARY ${library} )
    set_property( GLOBAL PROPERTY QV_${name}_FOLDER ${folder} )
    set_property( GLOBAL PROPERTY QV_${name}_USES ${arg_USES} )
    set_property( GLOBAL PROPERTY QV_${name}_TESTS ${tests} )
    set_property( GLOBAL PROPERTY QV_${name}_HEADERS ${headers} )
    set_property( GLOBAL PROPERTY QV_${name}_LONELY_HEADERS ${lonely} )
    set_property( GLOBAL PROPERTY QV_${name}_WRAPPED_CALLS ${arg_WRAPPED_CALLS} )
    set_property( GLOBAL PROPERTY QV_${name}_TEST_LINKS ${arg_TEST_LINKS} )
endfunction()

# The headers that no source bears the name of: a/src/x.cpp and a/src/posix/xPosix.cpp are sources of
# a/x.h, unless a header beside them is nearer.
function( qv_headers_without_source result headers sources )
    foreach( source IN LISTS sources )
        string( REGEX REPLACE "\\.cpp$" ".h" private "${source}" )
        if( EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/${private}" )
            continue()
        endif()
        string( REGEX REPLACE "(^|/)src/(posix/|windows/)?" "\\1" path "${source}" )
        string( REGEX REPLACE "(Posix|Windows)?\\.cpp$" ".h" header "${path}" )
        string( REGEX REPLACE "\\.cpp$" ".h" suffixed "${path}" )
        list( REMOVE_ITEM headers ${header} ${suffixed} )
    endforeach()
    set( ${result} ${headers} PARENT_SCOPE )
endfunction()

function( qv_test_environment package suffix )
    set_property( GLOBAL APPEND PROPERTY QV_${package}_ENVIRONMENTS ${suffix} )
    set_property( GLOBAL PROPERTY QV_${package}_ENVIRONMENT_${suffix} ${ARGN} )
endfunction()

function( qv_package_fuzzer package program )
    cmake_parse_arguments( PARSE_ARGV 2 arg "" "PROMISE" "LINKS" )
    list( TRANSFORM arg_UNPARSED_ARGUMENTS PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/"
        OUTPUT_VARIABLE sources )
    set_property( GLOBAL APPEND PROPERTY QV_FUZZERS ${program} )
    set_property( GLOBAL PROPERTY QV_${program}_FUZZED ${package} )
    set_property( GLOBAL PROPERTY QV_${program}_SOURCES ${sources} )
    set_property( GLOBAL PROPERTY QV_${program}_PROMISE ${arg_PROMISE} )
    set_property( GLOBAL PROPERTY QV_${program}_LINKS ${arg_LINKS} )
endfunction()

# The packages that `package` uses, itself last, each after those that it uses.
function( qv_package_closure package result )
    set( closure ${${result}} )
    if( NOT package IN_LIST closure )
        get_property( known GLOBAL PROPERTY QV_PACKAGES )
        get_property( uses GLOBAL PROPERTY QV_${package}_USES )
        foreach( used IN LISTS uses )
            if( NOT used IN_LIST known )
                message( FATAL_ERROR "Package ${package} uses '${used}', which is no package" )
            endif()
            qv_package_closure( ${used} closure )
        endforeach()
        list( APPEND closure ${package} )
    endif()
    set( ${result} ${closure} PARENT_SCOPE )
endfunction()

function( qv_add_library target library )
    cmake_parse_arguments( PARSE_ARGV 2 arg "" "" "LINKS" )
    add_library( ${target} SHARED )
    add_library( QVresmgt::${target} ALIAS ${target} )
    set_target_properties( ${target} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${qv_interface_version} LINKER_LANGUAGE CXX )
    target_include_directories( ${target} INTERFACE
        $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qvresmgt> )
    target_compile_features( ${target} PUBLIC cxx_std_20 )
    target_link_libraries( ${target} PUBLIC ${arg_LINKS}
        PRIVATE $<BUILD_INTERFACE:qv_build> Threads::Threads ${CMAKE_DL_LIBS} )
    # A program that uses nothing but the settings of a library's packages needs it too.
    if( NOT WIN32 )
        # Calls within the library are direct, as they were compiled.
        target_link_options( ${target} PRIVATE "LINKER:-Bsymbolic-functions" )
        target_link_options( ${target} INTERFACE
            "LINKER:--push-state,--no-as-needed,$<TARGET_FILE:QVresmgt::${target}>,--pop-state" )
    endif()
    get_property( packages GLOBAL PROPERTY QV_PACKAGES )
    foreach( package IN LISTS packages )
        get_property( owner GLOBAL PROPERTY QV_${package}_LIBRARY )
        if( owner STREQUAL library )
            target_sources( ${target} PRIVATE $<TARGET_OBJECTS:${package}_objects> )
        endif()
    endforeach()
endfunction()

function( qv_finish_libraries )
    qv_add_library( QVbase base )
    qv_add_library( QVpluginAPI pluginAPI LINKS QVbase )
    qv_add_library( QVresmgt resmgt LINKS QVpluginAPI QVbase )
    qv_add_library( QVmediaTiles mediaTiles LINKS QVresmgt QVpluginAPI QVbase )
    qv_write_include_rules()
endfunction()

# The rules that tests/checks/includes.py holds the sources against.
function( qv_write_include_rules )
    get_property( packages GLOBAL PROPERTY QV_PACKAGES )
    set( text "" )
    foreach( package IN LISTS packages )
        get_property( folder GLOBAL PROPERTY QV_${package}_FOLDER )
        get_property( uses GLOBAL PROPERTY QV_${package}_USES )
        get_property( headers GLOBAL PROPERTY QV_${package}_HEADERS )
        get_property( lonely GLOBAL PROPERTY QV_${package}_LONELY_HEADERS )
        string( APPEND text "package ${package} ${folder}\nuses ${uses}\nheaders ${headers}\n"
            "lonely ${lonely}\n" )
    endforeach()
    file( WRITE "${CMAKE_BINARY_DIR}/include-rules.txt" "${text}" )
endfunction()
