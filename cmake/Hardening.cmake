# Hardening of optimized builds, the same as Debian's hardening=+all. VEK_HARDENING=OFF switches everything off. If
# CMAKE_C_FLAGS, CMAKE_CXX_FLAGS or the linker's flags contain a flag of one measure, this file does not add that
# measure. For example, -DCMAKE_CXX_FLAGS=-fno-stack-protector builds without a stack protector.
#
# Debug, sanitizer, coverage and fuzz builds are not hardened: _FORTIFY_SOURCE needs optimization, and the sanitizers
# make more checks themselves.

option(VEK_HARDENING "Harden optimized builds (stack, library calls, control flow, relocations)" ON)

set(vek_hardening_compile_options)
set(vek_hardening_link_options)
set(vek_hardened OFF)
if(VEK_HARDENING AND VEK_OPTIMIZED)
  set(vek_hardened ON)
endif()
set(vek_hardening_complete ${vek_hardened}) # ON if no flag of the build replaces a measure

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

# Link executables as position-independent (-pie), because CMAKE_POSITION_INDEPENDENT_CODE affects compilation only.
check_pie_supported(LANGUAGES C CXX)

# vek_harden_compile(<variable> <pattern of flags that override it> <flag>...)
#
# Adds the flags if the compiler supports the last flag. The cache variable <variable> stores the result of this test.
function(vek_harden_compile variable pattern)
  if(NOT vek_hardened)
    return()
  endif()
  if("${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "${pattern}")
    set(vek_hardening_complete OFF PARENT_SCOPE)
    return()
  endif()
  list(GET ARGN -1 flag)
  check_cxx_compiler_flag(${flag} ${variable})
  if(${variable})
    list(APPEND vek_hardening_compile_options ${ARGN})
    set(vek_hardening_compile_options ${vek_hardening_compile_options} PARENT_SCOPE)
  endif()
endfunction()

function(vek_harden_link pattern flag)
  if(NOT vek_hardened)
    return()
  endif()
  if("${CMAKE_EXE_LINKER_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}" MATCHES "${pattern}")
    set(vek_hardening_complete OFF PARENT_SCOPE)
    return()
  endif()
  list(APPEND vek_hardening_link_options ${flag})
  set(vek_hardening_link_options ${vek_hardening_link_options} PARENT_SCOPE)
endfunction()

vek_harden_compile(VEK_HAS_STACK_PROTECTOR "stack-protector" -fstack-protector-strong)
vek_harden_compile(VEK_HAS_STACK_CLASH "stack-clash-protection" -fstack-clash-protection)
vek_harden_compile(VEK_HAS_CF_PROTECTION "cf-protection" -fcf-protection)

# Level 3 of _FORTIFY_SOURCE also checks buffers whose size is known only at run time, such as those of malloc(n). Level
# 2, which Debian 12 sets, checks constant sizes only. A compiler or C library without level 3 warns and uses level 2.
if("${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE")
  set(vek_hardening_complete OFF)
elseif(vek_hardened)
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <string.h>\nint main() { return 0; }" VEK_HAS_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  set(level 2)
  if(VEK_HAS_FORTIFY_3)
    set(level 3)
  endif()
  list(APPEND vek_hardening_compile_options -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=${level})
endif()

# Full RELRO makes the relocation table read-only after start-up, so all symbols must be bound at start-up (-z now).
vek_harden_link("relro" LINKER:-z,relro)
vek_harden_link("-z[, ]?(now|lazy)" LINKER:-z,now)
