# One folder is one target: a header is visible only to targets that link the folder's library.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTOUIC ON)
set(CMAKE_AUTORCC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

option(MAV_LTO "Optimise at link time" OFF)
if(MAV_LTO)
    include(CheckIPOSupported)
    check_ipo_supported(LANGUAGES C CXX)
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
    # Seen across files, containers of the toolkit look as if they could be of negative size.
    add_link_options(-Wno-alloc-size-larger-than)
endif()
set(MAV_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")

add_library(MavOptions INTERFACE)
target_compile_options(MavOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wnull-dereference
    -Werror -fno-omit-frame-pointer)
target_compile_definitions(MavOptions INTERFACE
    QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS QT_NO_FOREACH
    MAV_VERSION="${PROJECT_VERSION}")
if(MAV_SANITIZE)
    # The null-dereference warning loses its way in instrumented code.
    target_compile_options(MavOptions INTERFACE -fsanitize=${MAV_SANITIZE} -fno-sanitize-recover=all -Wno-null-dereference
        -Wno-maybe-uninitialized)
    target_link_options(MavOptions INTERFACE -fsanitize=${MAV_SANITIZE})
endif()

# mav_library(Name SOURCES ... LINKS ... PRIVATE_LINKS ...): the library of the current folder.
function(mav_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE MavOptions ${ARG_PRIVATE_LINKS})
    mav_precompile(${name})
endfunction()

# mav_program(Name SOURCES ... LINKS ...): a program in the bin folder.
function(mav_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE MavOptions ${ARG_LINKS})
    mav_precompile(${name})
endfunction()

# mav_test(tst_Name LINKS ... [SOURCES helper files]): tst_Name.cpp in the current folder, run with a private home folder.
function(mav_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${name}.cpp ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE MavOptions Qt6::Test ${ARG_LINKS})
    mav_precompile(${name})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 120
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp die_after_fork=0 ignore_noninstrumented_modules=1")
endfunction()
