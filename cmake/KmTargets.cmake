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

# Where installed headers go: include paths stay rooted as in src/ ("platform/ui/view.h").
set(KM_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/kalomate")

# Include roots, for this build and for an installed tree.
function(km_include_roots target scope)
  target_include_directories(${target} ${scope} "$<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/src>"
                                                "$<INSTALL_INTERFACE:${KM_INSTALL_INCLUDEDIR}>")
endfunction()

# Registers a library of the product for `cmake --install` and the exported package. Installed
# files are named libkm_<name>.a: a bare libbase.a or libui.a would clash in a shared lib folder.
function(km_install_library name)
  get_target_property(type ${name} TYPE)
  if(NOT type STREQUAL "INTERFACE_LIBRARY")
    set_target_properties(${name} PROPERTIES OUTPUT_NAME km_${name})
  endif()
  set_target_properties(${name} PROPERTIES EXPORT_NAME ${name})
  if(KM_SANITIZE)
    # A sanitised static library needs the sanitiser's runtime in whatever links it.
    target_link_options(${name} INTERFACE "$<INSTALL_INTERFACE:-fsanitize=${KM_SANITIZE}>")
  endif()
  install(TARGETS ${name} EXPORT kalomate-widgetsTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

# km_add_library(name SOURCES ... [DEPS ...] [PRIVATE_DEPS ...] [INTERNAL]): a static library
# rooted at src/. INTERNAL ones (a tool's own code) are not installed.
function(km_add_library name)
  cmake_parse_arguments(ARG "INTERNAL" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  add_library(km::${name} ALIAS ${name})
  km_include_roots(${name} PUBLIC)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  km_target_defaults(${name})
  if(NOT ARG_INTERNAL)
    km_install_library(${name})
  endif()
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
    km_include_roots(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${ARG_DEPS})
    km_install_library(${name})
  endif()
endfunction()
