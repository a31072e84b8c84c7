# What every room of the house is built with.

add_library(vek_house_rules INTERFACE)
target_compile_options(vek_house_rules INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(PROJECT_IS_TOP_LEVEL)
  # The warnings of another project's compiler do not fail its build.
  target_compile_options(vek_house_rules INTERFACE -Werror)
endif()
target_compile_options(
  vek_house_rules INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
target_include_directories(vek_house_rules INTERFACE ${PROJECT_SOURCE_DIR})

if(VEK_BUILD_FUZZ)
  # What the fuzzing engine is to explore: the house, not the targets.
  target_compile_options(vek_house_rules INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(VEK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# The library and the tool need nothing of the C++ run-time library, so the C driver links them: start-up
# costs what the C library costs, and a reference that crept in fails the link. CMake would add the C++
# libraries by itself as soon as one object is C++; a C++ driver brings its own.
# Unoptimized code may keep calls of it that never happen, and the sanitizers need it: there, C++ links.
set(VEK_OPTIMIZED OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT VEK_SANITIZE AND NOT VEK_BUILD_FUZZ)
  set(VEK_OPTIMIZED ON)
  set(VEK_LINKER_LANGUAGE C)
  set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
else()
  set(VEK_LINKER_LANGUAGE CXX)
endif()

include(cmake/Hardening.cmake)
target_compile_options(vek_house_rules INTERFACE ${vek_hardening_compile_options})

# vek_layer(<target> SOURCES <file>... MAY_USE <target>...)
#
# One layer of the house. MAY_USE is its row in the table of arrows (docs/architecture.md): its tests link
# against it and those layers alone, so a call against an arrow does not link.
function(vek_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 layer "" "" "SOURCES;MAY_USE")
  add_library(${name} STATIC ${layer_SOURCES})
  target_link_libraries(${name} PUBLIC ${layer_MAY_USE} PRIVATE vek_house_rules)
endfunction()
