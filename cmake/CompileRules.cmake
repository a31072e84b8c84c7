# Compiler and linker options of all layers and the tool.

add_library(vek_compile_rules INTERFACE)
target_compile_options(vek_compile_rules INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(PROJECT_IS_TOP_LEVEL)
  # Within another project, a warning of another compiler must not fail the build.
  target_compile_options(vek_compile_rules INTERFACE -Werror)
endif()
target_compile_options(
  vek_compile_rules INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
target_include_directories(vek_compile_rules INTERFACE ${PROJECT_SOURCE_DIR})

if(VEK_BUILD_FUZZ)
  # Only the layers are instrumented for the fuzzing engine, not the fuzz targets.
  target_compile_options(vek_compile_rules INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(VEK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# The library and the tool do not need the C++ run-time library. The C compiler driver links optimized builds, so that
# an accidental reference to the C++ library is a link error, and so that start-up loads the C library only. CMake would
# add the C++ libraries because the objects are C++, so its list of these libraries is emptied. The C++ driver links all
# other builds: unoptimized code can contain calls of the C++ library that are never executed, and the sanitizers need
# it.
set(VEK_OPTIMIZED OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND NOT VEK_SANITIZE AND NOT VEK_BUILD_FUZZ)
  set(VEK_OPTIMIZED ON)
  set(VEK_LINKER_LANGUAGE C)
  set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
else()
  set(VEK_LINKER_LANGUAGE CXX)
endif()

# One section for each function, so that the linker can leave out those that the tool never calls, and with them the
# functions of the C library that only they use: the dynamic linker resolves each of these at every start of the tool,
# with about 550 instructions.
target_compile_options(vek_compile_rules INTERFACE -ffunction-sections -fdata-sections)

include(cmake/Hardening.cmake)
target_compile_options(vek_compile_rules INTERFACE ${vek_hardening_compile_options})

# vek_layer(<target> SOURCES <file>... MAY_USE <target>...)
#
# Adds one layer. MAY_USE names the layers that it may use (docs/architecture.md). Its tests are linked to these
# layers only, so that a call of another layer is a link error.
function(vek_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 layer "" "" "SOURCES;MAY_USE")
  add_library(${name} STATIC ${layer_SOURCES})
  target_link_libraries(${name} PUBLIC ${layer_MAY_USE} PRIVATE vek_compile_rules)
endfunction()
