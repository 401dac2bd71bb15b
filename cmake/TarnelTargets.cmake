# How this project's targets are made: warnings, sanitizers, and include paths that reach only what a target links.

include_guard(GLOBAL)

add_library(tarnel_options INTERFACE)
target_compile_features(tarnel_options INTERFACE cxx_std_20)
target_compile_options(tarnel_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    # Of a file itself, not of those compiled with it.
    $<$<NOT:$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wshadow>
    $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>
    $<$<BOOL:${TARNEL_WERROR}>:-Werror>)
if(TARNEL_SANITIZE)
    list(JOIN TARNEL_SANITIZE "," sanitizers)
    target_compile_options(tarnel_options INTERFACE -fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(tarnel_options INTERFACE -fsanitize=${sanitizers})
endif()
if(TARNEL_FUZZ)
    target_compile_options(tarnel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# tarnel_room(NAME [PREFIX ...] [COMPONENT Linux|Qt] [SOURCES ...] [LINKS ...] [PRIVATE_LINKS ...])
#
# A library target tarnel_NAME of the current folder. Its headers are included as <TarnelSDK/NAME/File.hpp>, by targets
# that link it and by no others: the include path of each room holds that room alone. A room with a component is given
# by the installed package together with that component.
function(tarnel_room name)
    cmake_parse_arguments(room "" "PREFIX;COMPONENT" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    if(NOT room_PREFIX)
        set(room_PREFIX "TarnelSDK/${name}")
    endif()
    set(include_root "${PROJECT_BINARY_DIR}/include/${name}")
    cmake_path(GET room_PREFIX PARENT_PATH parent)
    file(MAKE_DIRECTORY "${include_root}/${parent}")
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${include_root}/${room_PREFIX}" SYMBOLIC)

    set(target tarnel_${name})
    if(room_SOURCES)
        add_library(${target} STATIC ${room_SOURCES})
        set(scope PUBLIC)
        target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:tarnel_options> ${room_PRIVATE_LINKS})
        set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    else()
        add_library(${target} INTERFACE)
        set(scope INTERFACE)
    endif()
    add_library(tarnel::${name} ALIAS ${target})
    target_compile_features(${target} ${scope} cxx_std_20)
    target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${include_root}>)
    target_link_libraries(${target} ${scope} ${room_LINKS})

    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
    if(TARNEL_INSTALL)
        install(TARGETS ${target} EXPORT TarnelSDK${room_COMPONENT}Targets INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
        install(DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${room_PREFIX}"
            FILES_MATCHING PATTERN "*.hpp")
    endif()
endfunction()

# Builds every test program that was marked THREADS, and so is to be run under the thread sanitizer.
if(TARNEL_TESTS)
    add_custom_target(threaded_tests)
endif()

# tarnel_test(NAME [THREADS] SOURCES ... [LINKS ...])
#
# A GoogleTest program test_NAME; each of its tests is one test of CTest, labelled NAME, or "threads" when THREADS.
function(tarnel_test name)
    cmake_parse_arguments(test "THREADS" "" "SOURCES;LINKS" ${ARGN})
    add_executable(test_${name} ${test_SOURCES})
    # What is tested is optimised, the tests are not: they are compiled far more often than their speed is felt.
    target_compile_options(test_${name} PRIVATE -O0)
    target_link_libraries(test_${name} PRIVATE tarnel_options ${test_LINKS} GTest::gmock GTest::gtest_main)
    target_include_directories(test_${name} PRIVATE "${PROJECT_SOURCE_DIR}/Tests")
    target_compile_definitions(test_${name} PRIVATE TARNEL_TEST_DATA="${PROJECT_SOURCE_DIR}/Tests/Data")
    set(label ${name})
    if(test_THREADS)
        set(label threads)
        add_dependencies(threaded_tests test_${name})
    endif()
    gtest_discover_tests(test_${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${label} TIMEOUT 300)
endfunction()

# Builds every fuzz target.
if(TARNEL_FUZZ)
    add_custom_target(fuzzers)
endif()

# tarnel_fuzz(NAME SOURCES ... [LINKS ...])
#
# A libFuzzer program fuzz_NAME. The inputs that it starts from, if any, are the files of Fuzz/Corpus/NAME.
function(tarnel_fuzz name)
    cmake_parse_arguments(fuzz "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(fuzz_${name} ${fuzz_SOURCES})
    target_link_libraries(fuzz_${name} PRIVATE tarnel_options ${fuzz_LINKS})
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
    add_dependencies(fuzzers fuzz_${name})
endfunction()
