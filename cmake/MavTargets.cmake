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
include(${CMAKE_CURRENT_LIST_DIR}/Shipped.cmake)
set(MAV_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")

# For whoever works on the code; another compiler's new warning stops nobody else.
option(MAV_WERROR "Warnings are errors" OFF)

add_library(MavOptions INTERFACE)
target_compile_options(MavOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
    # From 14 on the compiler sees null pointers in the toolkit's own containers.
    $<$<VERSION_LESS:$<CXX_COMPILER_VERSION>,14>:-Wnull-dereference>
    $<$<BOOL:${MAV_WERROR}>:-Werror> -fno-omit-frame-pointer)
target_compile_definitions(MavOptions INTERFACE
    QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS QT_NO_FOREACH
    MAV_VERSION="${PROJECT_VERSION}")
if(MAV_SANITIZE)
    # Two warnings lose their way in instrumented code; not every compiler has the second.
    include(CheckCXXCompilerFlag)
    check_cxx_compiler_flag(-Wmaybe-uninitialized MAV_HAS_MAYBE_UNINITIALIZED)
    target_compile_options(MavOptions INTERFACE -fsanitize=${MAV_SANITIZE} -fno-sanitize-recover=all -Wno-null-dereference
        $<$<BOOL:${MAV_HAS_MAYBE_UNINITIALIZED}>:-Wno-maybe-uninitialized>)
    target_link_options(MavOptions INTERFACE -fsanitize=${MAV_SANITIZE})
endif()

# What each target holds, offers and links, a line a value: read by scripts/check-links.py, which is a step of every build.
set(MAV_TARGET_LIST ${CMAKE_BINARY_DIR}/targets.txt)
file(WRITE ${MAV_TARGET_LIST} "")
function(mav_note_target name kind)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;LINKS;INTERNALS" ${ARGN})
    set(text "target ${name} ${kind} ${CMAKE_CURRENT_SOURCE_DIR}\n")
    foreach(key IN ITEMS SOURCES PUBLIC LINKS INTERNALS)
        foreach(value IN LISTS ARG_${key})
            string(APPEND text "${key} ${value}\n")
        endforeach()
    endforeach()
    file(APPEND ${MAV_TARGET_LIST} "${text}")
endfunction()

# mav_library(Name [SOURCES ...] [PUBLIC ...] [LINKS ...]): the library of the current folder.
#
# PUBLIC names what its public headers include, LINKS what only its sources do; neither more nor less. Where there is a folder
# "include", only the headers in it can be used by others, otherwise all of the folder's. Without SOURCES: all of the folder.
function(mav_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;LINKS" ${ARGN})
    if(NOT ARG_SOURCES)
        file(GLOB ARG_SOURCES CONFIGURE_DEPENDS *.cpp *.h *.ui include/*.h)
    endif()
    add_library(${name} STATIC ${ARG_SOURCES})
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/include)
        target_include_directories(${name} PUBLIC include PRIVATE .)
    else()
        target_include_directories(${name} PUBLIC .)
    endif()
    # A window's header includes what is made of its form.
    if("${ARG_SOURCES}" MATCHES "\\.ui")
        target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_BINARY_DIR}/${name}_autogen/include)
    endif()
    target_link_libraries(${name} PUBLIC Qt6::Core ${ARG_PUBLIC} PRIVATE MavOptions ${ARG_LINKS})
    mav_precompile(${name})
    mav_note_target(${name} library SOURCES ${ARG_SOURCES} PUBLIC ${ARG_PUBLIC} LINKS ${ARG_LINKS})
endfunction()

# mav_program(Name SOURCES ... LINKS ...): a program in the bin folder.
function(mav_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE MavOptions Qt6::Core ${ARG_LINKS})
    mav_precompile(${name})
    mav_note_target(${name} program SOURCES ${ARG_SOURCES} LINKS ${ARG_LINKS})
endfunction()

# mav_test(tst_Name LINKS ... [SOURCES helper files] [INTERNALS ...]): tst_Name.cpp in the current folder, run with a private home
# folder. INTERNALS names libraries whose own headers it may use.
function(mav_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;INTERNALS" ${ARGN})
    add_executable(${name} ${name}.cpp ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE MavOptions Qt6::Test ${ARG_LINKS})
    foreach(library IN LISTS ARG_INTERNALS)
        target_include_directories(${name} PRIVATE $<TARGET_PROPERTY:${library},SOURCE_DIR>)
    endforeach()
    mav_precompile(${name})
    # Nearly always empty: a test includes what is generated for it.
    set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${name}_autogen/mocs_compilation.cpp PROPERTIES
        SKIP_PRECOMPILE_HEADERS ON)
    mav_note_target(${name} test SOURCES ${name}.cpp ${ARG_SOURCES} LINKS Qt6::Test ${ARG_LINKS} INTERNALS ${ARG_INTERNALS})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 120
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp die_after_fork=0 ignore_noninstrumented_modules=1")
endfunction()
