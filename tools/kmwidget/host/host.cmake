# The running live host: its HTTP server library and the page's files built into the program
# as string constants (plain HTML, CSS and JS: nothing to compile).
find_package(PkgConfig REQUIRED)
pkg_check_modules(MICROHTTPD REQUIRED IMPORTED_TARGET libmicrohttpd)
km_add_library(kmwidget_live_host
               SOURCES host/arrangement.cpp host/host_api.cpp host/host_state.cpp
                       host/host_timelines.cpp host/http_server.cpp host/page_assets.cpp
                       host/tap.cpp host/widget_host.cpp
               DEPS kmwidget_cli INTERNAL)
target_link_libraries(kmwidget_live_host PRIVATE PkgConfig::MICROHTTPD)

set(km_page_dir "${CMAKE_CURRENT_SOURCE_DIR}/host/page")
set(km_page_files "index.html|text/html" "app.js|text/javascript" "style.css|text/css")
list(LENGTH km_page_files km_page_count)
string(CONCAT km_page_source "#pragma once\n// Made by CMake from tools/kmwidget/host/page/; edit the files there.\n\n"
    "#include <array>\n#include <string_view>\n\nnamespace km::host {\n\n"
    "struct PageFile {\n  std::string_view name;\n  std::string_view contentType;\n"
    "  std::string_view text;\n};\n\n"
    "inline constexpr std::array<PageFile, ${km_page_count}> kPageFiles = {{\n")
foreach(entry IN LISTS km_page_files)
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 name)
  list(GET parts 1 type)
  file(READ "${km_page_dir}/${name}" text)
  string(APPEND km_page_source "    {\"${name}\", \"${type}\", R\"kmpage(${text})kmpage\"},\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${km_page_dir}/${name}")
endforeach()
string(APPEND km_page_source "}};\n\n}  // namespace km::host\n")
set(km_page_header "${CMAKE_CURRENT_BINARY_DIR}/generated/kmwidget/host/page_files.h")
# Written through a copy so that an unchanged page does not rebuild anything.
file(WRITE "${km_page_header}.new" "${km_page_source}")
configure_file("${km_page_header}.new" "${km_page_header}" COPYONLY)
target_include_directories(kmwidget_live_host PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/generated")
