# Installs the build tree into a fresh stage, then configures, builds and runs the consumer
# project against it. Any failing step fails the test with that step's output.
function(run_step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${what} failed (${code}):\n${out}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()

set(stage "${KM_WORK_DIR}/stage")
set(build "${KM_WORK_DIR}/build")
file(REMOVE_RECURSE "${KM_WORK_DIR}")

run_step("install" "${CMAKE_COMMAND}" --install "${KM_BUILD_DIR}" --prefix "${stage}")
foreach(installed IN ITEMS bin/kmwidget bin/avo-cli share/kalomate/bundle/Assets.xcassets)
  if(NOT EXISTS "${stage}/${installed}")
    message(FATAL_ERROR "the installed tree has no ${installed}")
  endif()
endforeach()

run_step("configure" "${CMAKE_COMMAND}" -S "${KM_CONSUMER_SOURCE}" -B "${build}" -G Ninja
         "-DCMAKE_PREFIX_PATH=${stage}" "-DCMAKE_CXX_COMPILER=${KM_CXX_COMPILER}"
         "-DCMAKE_C_COMPILER=${KM_C_COMPILER}" "-DCMAKE_BUILD_TYPE=${KM_BUILD_TYPE}")
run_step("build" "${CMAKE_COMMAND}" --build "${build}")

# The widget consumer draws a widget from the installed bundle; the PNG must be the small
# family's size at scale 2 (158 × 158 points on the default phone).
# In a sanitised build the leak checker runs at exit; the system libraries' caches are not ours.
set(run_env "${CMAKE_COMMAND}" -E env "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_LIST_DIR}/system_leaks.supp")
run_step("widget consumer" ${run_env} "${build}/widget_consumer" "${stage}/share/kalomate/bundle"
         "${KM_WORK_DIR}/small_energy.png")
file(READ "${KM_WORK_DIR}/small_energy.png" header LIMIT 24 HEX)
string(SUBSTRING "${header}" 0 16 magic)
string(SUBSTRING "${header}" 32 16 dimensions)
if(NOT magic STREQUAL "89504e470d0a1a0a" OR NOT dimensions STREQUAL "0000013c0000013c")
  message(FATAL_ERROR "widget consumer wrote no 316 × 316 PNG (header ${header})")
endif()

run_step("analytics consumer" ${run_env} "${build}/analytics_consumer")
# Signing out reaches the destination as unidentify().
if(NOT step_output MATCHES "unidentify")
  message(FATAL_ERROR "analytics consumer did not reach its destination:\n${step_output}")
endif()

# The installed kmwidget finds the installed bundle by itself.
run_step("installed kmwidget" ${run_env} "${stage}/bin/kmwidget" catalogue)
if(NOT step_output MATCHES "small_energy")
  message(FATAL_ERROR "installed kmwidget listed no catalogue:\n${step_output}")
endif()
