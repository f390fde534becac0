# Test programs: those of the packages, made of their objects, and those over the shared libraries.
#
# qv_test_program( <name> [NOT_RUN] SOURCES ... [LINKS ...] ) makes a test program over the shared
# libraries, for what several packages do together, and has ctest run each of its tests. One that is
# NOT_RUN is started by other tests.
#
# Under the thread sanitizer the programs of the packages are made of those sources whose tests start
# threads, known by the words TestThread or std::thread; the other presets run the rest.
#
# qv_finish_package_tests() makes the white-box test programs once all packages are declared, and
# under the preset fuzz the fuzzers: each, and all of them as the target qv_fuzzers.

find_package( GTest REQUIRED )
# What XML is compared with.
find_package( EXPAT REQUIRED )
find_package( LibXml2 REQUIRED )
include( GoogleTest )

# What every test source is compiled with: to compile it quickly matters more than its own speed. The
# product's objects that a test program is made of keep their options. To optimise the address
# sanitizer's checks takes longer than they ever take to run.
add_library( qv_test_build INTERFACE )
target_link_libraries( qv_test_build INTERFACE qv_build GTest::gmock ${CMAKE_DL_LIBS} )
if( QV_SANITIZE STREQUAL "address" )
    set( qv_test_optimisation -O0 )
else()
    set( qv_test_optimisation -O1 )
endif()
if( QV_SANITIZE )
    string( TOUPPER "QV_SANITIZE_${QV_SANITIZE}" qv_sanitize_definition )
    target_compile_definitions( qv_test_build INTERFACE ${qv_sanitize_definition} )
endif()
target_compile_options( qv_test_build INTERFACE $<$<NOT:$<CONFIG:Debug>>:${qv_test_optimisation}>
    # Lets ccache see what a precompiled header was made of.
    $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>
    # GCC 12 sees copies behind the end of short strings where headers were precompiled.
    "$<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-stringop-overflow>" )

# The sanitizers of GCC 12 and clang 14 can't place their shadow memory when the kernel moves mappings
# about too widely; then the tests run without that.
set( qv_test_launcher )
if( QV_SANITIZE AND EXISTS /proc/sys/vm/mmap_rnd_bits )
    file( READ /proc/sys/vm/mmap_rnd_bits qv_random_bits )
    if( qv_random_bits GREATER 28 )
        set( qv_test_launcher setarch -R )
    endif()
endif()

# A test that hangs is ended by its own watchdog; ctest's limit stands behind that. The list of
# tests is made when ctest runs, so that building needs no test to start.
function( qv_discover_tests program )
    cmake_parse_arguments( PARSE_ARGV 1 arg "" "SUFFIX" "ENVIRONMENT" )
    gtest_discover_tests( ${program} TEST_SUFFIX "${arg_SUFFIX}" TEST_LIST ${program}${arg_SUFFIX}
        NO_PRETTY_TYPES NO_PRETTY_VALUES DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
        PROPERTIES TIMEOUT 1200 ENVIRONMENT "${arg_ENVIRONMENT}" )
endfunction()

# Makes the program, and hands its sources to the check of the tests' registration.
function( qv_add_test_program name )
    add_executable( ${name} ${ARGN} )
    target_link_libraries( ${name} PRIVATE qv_test_support )
    target_precompile_headers( ${name} REUSE_FROM qv_test_support )
    set_target_properties( ${name} PROPERTIES
        CROSSCOMPILING_EMULATOR "${qv_test_launcher}" POSITION_INDEPENDENT_CODE OFF
        QV_IS_TEST TRUE )
    foreach( source IN LISTS ARGN )
        cmake_path( ABSOLUTE_PATH source )
        set_property( GLOBAL APPEND PROPERTY QV_TEST_SOURCES "${source}" )
    endforeach()
endfunction()

function( qv_test_program name )
    cmake_parse_arguments( PARSE_ARGV 1 arg "NOT_RUN" "" "SOURCES;LINKS" )
    qv_add_test_program( ${name} ${arg_SOURCES} )
    target_link_libraries( ${name} PRIVATE QVresmgt QVpluginAPI QVbase ${arg_LINKS} )
    if( NOT arg_NOT_RUN )
        qv_discover_tests( ${name} )
    endif()
endfunction()

# Gives the program the objects of the package and of all that it uses.
function( qv_link_package program package )
    set( closure )
    qv_package_closure( ${package} closure )
    foreach( used IN LISTS closure )
        target_sources( ${program} PRIVATE $<TARGET_OBJECTS:${used}_objects> )
    endforeach()
endfunction()

# Has the program's own objects make the package's WRAPPED_CALLS by functions of its own.
function( qv_wrap_calls program package )
    get_property( wrapped GLOBAL PROPERTY QV_${package}_WRAPPED_CALLS )
    if( wrapped )
        list( TRANSFORM wrapped PREPEND "LINKER:--wrap=" OUTPUT_VARIABLE options )
        target_link_options( ${program} PRIVATE ${options} )
        list( JOIN wrapped " " names )
        target_compile_definitions( ${program} PRIVATE "QV_WRAPPED_CALLS=\"${names}\"" )
    endif()
endfunction()

function( qv_add_package_test package )
    qv_add_test_program( ${package}Test ${ARGN} )
    qv_link_package( ${package}Test ${package} )
    get_property( links GLOBAL PROPERTY QV_${package}_TEST_LINKS )
    target_link_libraries( ${package}Test PRIVATE ${links} )
    qv_wrap_calls( ${package}Test ${package} )
    qv_discover_tests( ${package}Test )
    get_property( suffixes GLOBAL PROPERTY QV_${package}_ENVIRONMENTS )
    foreach( suffix IN LISTS suffixes )
        get_property( environment GLOBAL PROPERTY QV_${package}_ENVIRONMENT_${suffix} )
        qv_discover_tests( ${package}Test SUFFIX ".${suffix}" ENVIRONMENT "${environment}" )
    endforeach()
endfunction()

# Leaves out what starts no thread. Helpers that define no test stay, and what stands in for wrapped
# calls, without which a program doesn't link. Empty when no test is left.
function( qv_threaded_tests result sources )
    set( kept )
    set( has_tests FALSE )
    foreach( source IN LISTS sources )
        file( STRINGS "${source}" tests REGEX "^ *(TYPED_)?TEST(_F|_P)?\\(" LIMIT_COUNT 1 )
        file( STRINGS "${source}" threads REGEX "TestThread|std::j?thread" LIMIT_COUNT 1 )
        file( STRINGS "${source}" wraps REGEX "__wrap_" LIMIT_COUNT 1 )
        if( threads OR wraps OR NOT tests )
            list( APPEND kept "${source}" )
        endif()
        if( threads AND tests )
            set( has_tests TRUE )
        endif()
    endforeach()
    if( NOT has_tests )
        set( kept )
    endif()
    set( ${result} ${kept} PARENT_SCOPE )
endfunction()

function( qv_finish_package_tests )
    get_property( packages GLOBAL PROPERTY QV_PACKAGES )
    foreach( package IN LISTS packages )
        get_property( tests GLOBAL PROPERTY QV_${package}_TESTS )
        if( QV_SANITIZE STREQUAL "thread" )
            qv_threaded_tests( tests "${tests}" )
        endif()
        if( tests )
            qv_add_package_test( ${package} ${tests} )
        endif()
    endforeach()
    if( QV_SANITIZE STREQUAL "fuzzer" )
        qv_add_fuzzers()
    endif()
endfunction()

# Writes the source that calls Qv::<promise>, a function of a std::string_view, for each input.
function( qv_write_fuzzer_entry program promise result )
    set( source "${CMAKE_BINARY_DIR}/fuzzerEntries/${program}.cpp" )
    string( REGEX REPLACE "::[^:]*$" "" namespace "${promise}" )
    string( REGEX REPLACE "^.*::" "" function "${promise}" )
    file( CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Qv::@namespace@ {
void @function@( std::string_view input );
}

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
    Qv::@promise@( { reinterpret_cast<const char*>( data ), size } );
    return 0;
}
]] )
    set( ${result} "${source}" PARENT_SCOPE )
endfunction()

function( qv_add_fuzzers )
    get_property( fuzzers GLOBAL PROPERTY QV_FUZZERS )
    add_custom_target( qv_fuzzers DEPENDS ${fuzzers} )
    foreach( program IN LISTS fuzzers )
        get_property( sources GLOBAL PROPERTY QV_${program}_SOURCES )
        get_property( package GLOBAL PROPERTY QV_${program}_FUZZED )
        get_property( promise GLOBAL PROPERTY QV_${program}_PROMISE )
        if( promise )
            qv_write_fuzzer_entry( "${program}" "${promise}" entry )
            list( APPEND sources "${entry}" )
        endif()
        get_property( links GLOBAL PROPERTY QV_${program}_LINKS )
        add_executable( ${program} ${sources} )
        target_link_libraries( ${program} PRIVATE qv_build ${links} ${CMAKE_DL_LIBS} )
        target_link_options( ${program} PRIVATE -fsanitize=fuzzer )
        qv_link_package( ${program} ${package} )
        # Where .ci/run finds all of them.
        set_target_properties( ${program} PROPERTIES
            RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/fuzzers" )
    endforeach()
endfunction()
