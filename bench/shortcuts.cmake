# SPDX-License-Identifier: GPL-3.0-or-later
if(NOT VELLUMO_PLATFORM STREQUAL "x11")
  return()
endif()
find_package(X11 REQUIRED COMPONENTS Xtst)
add_executable(bench_shortcuts ${CMAKE_CURRENT_LIST_DIR}/bench_shortcuts.cpp)
target_link_libraries(bench_shortcuts PRIVATE vellumo_shortcuts vellumo_platform_x11 Qt6::Gui X11::X11 X11::Xtst)
target_compile_definitions(bench_shortcuts PRIVATE
  VELLUMO_TEST_DESKTOP="${PROJECT_SOURCE_DIR}/scripts/test-desktop")
