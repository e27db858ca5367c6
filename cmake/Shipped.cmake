# What the shipped programs are built with. A mistake in them ends them instead of opening them: scripts/check-hardening.sh looks
# for each protection in the installed files. They are the same wherever they were built: scripts/reproducible.sh.
option(MAV_SHIPPED "Protect stack, calls, imports and containers, and leave the build's folder out" OFF)
if(NOT MAV_SHIPPED)
    return()
endif()

set(CMAKE_POSITION_INDEPENDENT_CODE ON)

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
set(protections -fstack-protector-strong -fstack-clash-protection)
# The processor's own checks of jumps and returns, by its family.
foreach(flag IN ITEMS -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "MAV_HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
        list(APPEND protections ${flag})
    endif()
endforeach()
# Level 3 asks the compiler for sizes that are only known at run time.
check_cxx_source_compiles("int main(int count, char**) { return (int)__builtin_dynamic_object_size(__builtin_alloca(count), 0); }"
    MAV_HAS_DYNAMIC_OBJECT_SIZE)
set(level 2)
if(MAV_HAS_DYNAMIC_OBJECT_SIZE)
    set(level 3)
endif()

add_compile_options(${protections} -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${level} -D_GLIBCXX_ASSERTIONS
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
# At link time code is made once more. Not with -fPIE, which the module for it would say: programs would hold copies of the
# toolkit's data, whose libraries go on with their own, and end at their start.
add_link_options(${protections} -fPIC -pie LINKER:-z,relro,-z,now,-z,noexecstack)
