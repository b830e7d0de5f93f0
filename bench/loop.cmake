# SPDX-License-Identifier: GPL-3.0-or-later
if(NOT VELLUMO_PLATFORM STREQUAL "x11")
  return()
endif()
# The shortcut-to-popup loop of the vellumo executable beside a minimal Qt
# popup program; starts a private test desktop for itself (scripts/test-desktop run).
add_executable(bench_minimalpopup ${CMAKE_CURRENT_LIST_DIR}/minimalpopup.cpp)
target_link_libraries(bench_minimalpopup PRIVATE Qt6::Widgets xcb)

add_executable(bench_loop ${CMAKE_CURRENT_LIST_DIR}/bench_loop.cpp)
target_link_libraries(bench_loop PRIVATE vellumo_apptest vellumo_providers vellumo_commands
  vellumo_testsupport Qt6::Gui xcb X11 Xtst)
target_compile_definitions(bench_loop PRIVATE
  VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
  VELLUMO_BINARY="$<TARGET_FILE:vellumo>"
  MINIMAL_POPUP="$<TARGET_FILE:bench_minimalpopup>")
add_dependencies(bench_loop vellumo bench_minimalpopup)
