# Shared target conventions: warnings, sanitizers, include roots, test registration.

function(km_add_subdirectories)
  foreach(dir IN LISTS ARGN)
    if(EXISTS "${CMAKE_SOURCE_DIR}/${dir}/CMakeLists.txt")
      add_subdirectory("${CMAKE_SOURCE_DIR}/${dir}" "${CMAKE_BINARY_DIR}/${dir}")
    endif()
  endforeach()
endfunction()

# Compile options every target of ours gets.
function(km_target_defaults target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)
  if(KM_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(KM_SANITIZE)
  add_compile_options(-fsanitize=${KM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KM_SANITIZE})
endif()

# km_add_library(name SOURCES ... [DEPS ...]): a static library rooted at src/.
function(km_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  add_library(km::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}/src")
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  km_target_defaults(${name})
endfunction()

# km_add_test(name SOURCES ... DEPS ...): one GoogleTest binary registered with CTest.
function(km_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}/tests")
  target_compile_definitions(${name} PRIVATE KM_SOURCE_BUNDLE_DIR="${KM_SOURCE_BUNDLE_DIR}"
                                             KM_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  km_target_defaults(${name})
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${name})
endfunction()

# km_add_bench(name SOURCES ... DEPS ...): one Google Benchmark program (release preset).
function(km_add_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} benchmark::benchmark benchmark::benchmark_main)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/src")
  target_compile_definitions(${name} PRIVATE KM_SOURCE_BUNDLE_DIR="${KM_SOURCE_BUNDLE_DIR}")
  km_target_defaults(${name})
endfunction()

# km_add_globbed_library(name GLOBS pattern... DEPS ...): a library of every .cpp matching the
# patterns (relative to the current folder), so parallel work adds files without touching lists.
# A folder with no sources yet gives a header-only (INTERFACE) library of the same name.
function(km_add_globbed_library name)
  cmake_parse_arguments(ARG "" "" "GLOBS;DEPS" ${ARGN})
  set(patterns "")
  foreach(glob IN LISTS ARG_GLOBS)
    list(APPEND patterns "${CMAKE_CURRENT_SOURCE_DIR}/${glob}")
  endforeach()
  file(GLOB sources CONFIGURE_DEPENDS ${patterns})
  if(sources)
    km_add_library(${name} SOURCES ${sources} DEPS ${ARG_DEPS})
  else()
    add_library(${name} INTERFACE)
    add_library(km::${name} ALIAS ${name})
    target_include_directories(${name} INTERFACE "${CMAKE_SOURCE_DIR}/src")
    target_link_libraries(${name} INTERFACE ${ARG_DEPS})
  endif()
endfunction()
