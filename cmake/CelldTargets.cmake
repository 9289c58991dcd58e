# Warnings and sanitizers sit on one interface target; every target of the tree links it.
add_library(celld_options INTERFACE)
add_library(celld::options ALIAS celld_options)
target_compile_options(celld_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
    -Wcast-align -Wundef $<$<BOOL:${CELLD_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # False alarms on "text" + std::string under optimisation (GCC bug 105651).
    target_compile_options(celld_options INTERFACE -Wno-restrict)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(celld_options INTERFACE -Wno-psabi) # notes on how GCC before 7.1 passed some arguments
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Clang holds against std::vector<AtCommand> what at_command.hpp explains.
    target_compile_options(celld_options INTERFACE -Wthread-safety -Wno-delete-non-abstract-non-virtual-dtor)
endif()
if(CELLD_FUZZ)
    # Every library, or the fuzzer does not see which of their branches an input reaches.
    target_compile_options(celld_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(CELLD_SANITIZE)
    target_compile_options(celld_options INTERFACE -fsanitize=${CELLD_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(celld_options INTERFACE -fsanitize=${CELLD_SANITIZE})
endif()

# celld_library(name SOURCES ... LINK ...): one static library a folder, seen as celld::<name>.
function(celld_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(celld_${name} STATIC ${ARG_SOURCES})
    add_library(celld::${name} ALIAS celld_${name})
    target_include_directories(celld_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/common)
    target_link_libraries(celld_${name} PUBLIC ${ARG_LINK} PRIVATE celld::options)
    celld_part_of_whole(celld_${name})
endfunction()

# The daemon is optimised at its link, which makes a fourth less of it. What it is linked of holds the ordinary code too:
# two dozen test programs take that, or each would be optimised anew.
set(CELLD_LTO "$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>")
define_property(TARGET PROPERTY CELLD_IS_WHOLE BRIEF_DOCS "Optimised at its link")
add_link_options("$<${CELLD_LTO}:$<IF:$<BOOL:$<TARGET_PROPERTY:CELLD_IS_WHOLE>>,-flto=auto,-fno-lto>>")
function(celld_part_of_whole target)
    target_compile_options(${target} PRIVATE "$<${CELLD_LTO}:-flto;-ffat-lto-objects>")
endfunction()
function(celld_optimised_whole target)
    celld_part_of_whole(${target})
    set_target_properties(${target} PROPERTIES CELLD_IS_WHOLE ON)
endfunction()

# celld_test(name SOURCES ... LINK ... [LABELS ...] [TIMEOUT seconds]): one GoogleTest program, one CTest case a TEST.
function(celld_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gtest_main GTest::gmock celld::options)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()

# celld_quick(target...): what works on every line of the module. -O2 costs these few kilobytes and saves a third of the
# instructions; bench/counts.txt holds both.
function(celld_quick)
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O2>)
    endforeach()
endfunction()
