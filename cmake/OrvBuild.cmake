# How everything here is compiled, and the two functions that every folder uses.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_package(Threads REQUIRED)

add_library(orv_flags INTERFACE)
target_compile_options(orv_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wconversion
    -Wsign-conversion -Wformat=2 -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # A test may look at what nobody else is at work on.
    target_compile_options(orv_flags INTERFACE
        "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:ORV_TEST>>>:-Wthread-safety;-Wthread-safety-negative>")
else()
    target_compile_options(orv_flags INTERFACE -Wduplicated-branches)
endif()
# 64-bit time and file sizes on 32-bit targets too: the calendar does not end in 2038.
target_compile_definitions(orv_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64 _GNU_SOURCE)
target_link_libraries(orv_flags INTERFACE Threads::Threads)
if(ORV_SANITIZE)
    target_compile_options(orv_flags INTERFACE
        -fsanitize=${ORV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(orv_flags INTERFACE -fsanitize=${ORV_SANITIZE})
endif()
if(ORV_FUZZ)
    target_compile_options(orv_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(ORV_COVERAGE)
    add_library(orv_counters STATIC ${CMAKE_SOURCE_DIR}/testing/coverage/Counters.cpp)
    target_include_directories(orv_counters PRIVATE ${CMAKE_SOURCE_DIR})
    target_compile_options(orv_flags INTERFACE --coverage -fprofile-abs-path -fprofile-update=atomic)
    target_link_options(orv_flags INTERFACE --coverage -Wl,--wrap=_exit -Wl,--wrap=abort
        -Wl,--undefined=__wrap__exit -Wl,--undefined=__wrap_abort)
    target_link_libraries(orv_flags INTERFACE orv_counters)
endif()

# A release is the same bytes from whichever directory, and hard to misuse. Position independence is asked for by name: not
# every compiler is set up for it.
# A compiler cache may have made paths relative to the build directory.
file(RELATIVE_PATH from_build ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
target_compile_options(orv_flags INTERFACE $<$<CONFIG:Release>:
    -ffile-prefix-map=${from_build}= -ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=build/
    -fPIE -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
target_link_options(orv_flags INTERFACE $<$<CONFIG:Release>:-pie -Wl,-z,relro,-z,now -Wl,-O1 -Wl,--hash-style=gnu>)

# orv_fast(TARGET...): rooms that every mail passes. A release builds them for speed, all others for size.
function(orv_fast)
    foreach(name ${ARGN})
        target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O2>)
    endforeach()
endfunction()

if(NOT BUILD_TESTING)
    # Nothing to look for.
elseif(CMAKE_CROSSCOMPILING)
    # The target's toolchain has no further libraries: GoogleTest comes from its Debian sources.
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    if(NOT TARGET GTest::gmock_main)
        add_library(GTest::gmock_main ALIAS gmock_main)
    endif()
else()
    find_package(GTest REQUIRED)
endif()

# The headers that every test includes, parsed once for all of them. Not with a compiler cache: what is compiled with them
# cannot be cached by its defaults, and a hit saves more.
set(ORV_TEST_HEADERS ON)
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES ccache OR NOT BUILD_TESTING)
    set(ORV_TEST_HEADERS OFF)
endif()
if(ORV_TEST_HEADERS)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/generated/test_headers.cpp CONTENT "")
    add_library(orv_test_headers OBJECT ${CMAKE_BINARY_DIR}/generated/test_headers.cpp)
    target_link_libraries(orv_test_headers PRIVATE orv_flags GTest::gmock)
    target_precompile_headers(orv_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
endif()

# orv_unity(NAME): with ORV_UNITY, the target's sources are compiled several at a time. Each has its own kTraceModule.
function(orv_unity name)
    if(ORV_UNITY)
        set_target_properties(${name} PROPERTIES
            UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12 UNITY_BUILD_UNIQUE_ID kTraceModule)
        # A class in an anonymous namespace is this file's own, included or not.
        target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
endfunction()

# orv_apart(FILE...): sources that are compiled alone also with ORV_UNITY: a test steps in front of what they define, which the
# linker does for calls from other objects only (tools/check_wraps looks for more of them), or stands in their place.
function(orv_apart)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# orv_library(NAME SOURCES file... [LINK target...]): a static library whose headers are included as
# "room/Header.h" (below src/) or "folder/.../Header.h" (below the top).
function(orv_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    orv_unity(${name})
    target_include_directories(${name} PUBLIC
        ${CMAKE_SOURCE_DIR}/platform/include ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE orv_flags)
endfunction()

# The same for what only tests need: nothing without BUILD_TESTING.
function(orv_test_library name)
    if(BUILD_TESTING)
        orv_library(${name} ${ARGN})
        set_target_properties(${name} PROPERTIES ORV_TEST ON)
        target_link_libraries(${name} PUBLIC GTest::gmock)
    endif()
endfunction()

# orv_test(NAME [THREADS] SOURCES file... LINK target...): one GoogleTest program, run as one test. THREADS: more than
# one thread is at work in it, so that it belongs to the thread sanitizer's share.
function(orv_test name)
    cmake_parse_arguments(ARG "THREADS" "" "SOURCES;LINK" ${ARGN})
    if(NOT BUILD_TESTING OR (ORV_THREADS_ONLY AND NOT ARG_THREADS))
        return()
    endif()
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES ORV_TEST ON)
    orv_unity(${name})
    target_link_libraries(${name} PRIVATE orv_flags ${ARG_LINK} GTest::gmock_main)
    if(ORV_TEST_HEADERS)
        target_precompile_headers(${name} REUSE_FROM orv_test_headers)
    endif()
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT 480 ENVIRONMENT "TZ=UTC;LC_ALL=C")
endfunction()
