# Language, warnings and sanitizers, the same for every target of the project.

set( CMAKE_CXX_STANDARD 20 )
set( CMAKE_CXX_STANDARD_REQUIRED ON )
set( CMAKE_CXX_EXTENSIONS OFF )
set( CMAKE_CXX_VISIBILITY_PRESET hidden )
set( CMAKE_VISIBILITY_INLINES_HIDDEN ON )
set( CMAKE_POSITION_INDEPENDENT_CODE ON )

find_package( Threads REQUIRED )

# Carries what every target of the project is compiled with; never installed.
add_library( qv_build INTERFACE )
target_include_directories( qv_build INTERFACE "${CMAKE_SOURCE_DIR}" )
target_link_libraries( qv_build INTERFACE Threads::Threads )
target_compile_options( qv_build INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wold-style-cast
    # Exceptions name their source file from the source root.
    -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/= )
if( QV_WARNINGS_AS_ERRORS )
    target_compile_options( qv_build INTERFACE -Werror )
endif()
if( CMAKE_CXX_COMPILER_ID MATCHES "Clang" )
    target_compile_options( qv_build INTERFACE -Wthread-safety )
else()
    # Nobody replaces a function of a library by one of the same name: calls within it may be inlined.
    target_compile_options( qv_build INTERFACE -fno-semantic-interposition )
    if( CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13 )
        # GCC bug 105651: sees an overlap in std::string's own code where there is none.
        target_compile_options( qv_build INTERFACE -Wno-restrict )
    endif()
endif()

if( QV_COVERAGE )
    # Counts the lines of the product alone: the tests' own say nothing, and optimised code has no
    # lines of its own.
    target_compile_options( qv_build INTERFACE
        "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:QV_IS_TEST>>>:-O0;--coverage;-fprofile-abs-path;-fprofile-update=atomic>" )
    target_link_options( qv_build INTERFACE --coverage )
endif()

# What most sources include. The tests precompile it anyway, in a way of their own: position-independent
# code and other code can't share a precompiled header.
set( qv_precompiled_headers
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdlib> <deque> <filesystem>
    <fstream> <functional> <limits> <list> <map> <memory> <mutex> <optional> <random> <set>
    <sstream> <string> <string_view> <thread> <unordered_map> <utility> <vector> )

if( QV_SANITIZE STREQUAL "address" )
    set( qv_sanitizer -fsanitize=address,undefined -fno-sanitize-recover=undefined )
elseif( QV_SANITIZE STREQUAL "thread" )
    set( qv_sanitizer -fsanitize=thread )
elseif( QV_SANITIZE STREQUAL "fuzzer" )
    if( NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang" )
        message( FATAL_ERROR "QV_SANITIZE is 'fuzzer', which needs clang++" )
    endif()
    set( qv_sanitizer
        -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined )
elseif( NOT QV_SANITIZE STREQUAL "" )
    message( FATAL_ERROR
        "QV_SANITIZE is '${QV_SANITIZE}': it takes address, thread, fuzzer or nothing" )
endif()
if( qv_sanitizer )
    target_compile_options( qv_build INTERFACE ${qv_sanitizer} -fno-omit-frame-pointer )
    target_link_options( qv_build INTERFACE ${qv_sanitizer} )
endif()

# GCC 12 is wrong about instrumented code, and sees copies behind the end of short strings where
# headers were precompiled. The presets without both keep these warnings.
if( CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND ( qv_sanitizer OR QV_PRECOMPILE ) )
    target_compile_options( qv_build INTERFACE
        -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow )
endif()

if( QV_PRECOMPILE )
    file( CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/precompiled.cpp" CONTENT "" )
    add_library( qv_precompiled OBJECT "${CMAKE_BINARY_DIR}/precompiled.cpp" )
    target_link_libraries( qv_precompiled PRIVATE qv_build )
    target_precompile_headers( qv_precompiled PRIVATE ${qv_precompiled_headers} )
endif()

# Precompiles what the sources of an object library include, where that is wanted. Where it isn't,
# as under the preset clang, each source proves that it includes what it needs.
function( qv_precompile objects )
    if( QV_PRECOMPILE )
        target_precompile_headers( ${objects} REUSE_FROM qv_precompiled )
    endif()
endfunction()
