# One place for the warning flags every target of ours gets.
function(nua_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wnon-virtual-dtor)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wshadow=local)
  endif()
  # g++ 12 reports std::string concatenation at -O2 as overlapping memcpy (GCC bug 105329): a false
  # positive that would otherwise fail every Release build with warnings as errors.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  # Sanitizer instrumentation makes g++ report uninitialised reads inside std::function and std::regex
  # that do not exist; the same code compiles clean without the instrumentation.
  if(NUA_SANITIZE OR NUA_SANITIZE_THREAD)
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(NUA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# A core library: one folder, one static library, linking only the folders below it.
function(nua_core_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(nua_${name} STATIC ${ARG_SOURCES})
  target_include_directories(nua_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src/core)
  target_link_libraries(nua_${name} PUBLIC ${ARG_DEPS})
  nua_warnings(nua_${name})
endfunction()
