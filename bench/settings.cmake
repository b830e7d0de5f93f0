# SPDX-License-Identifier: GPL-3.0-or-later
if(NOT VELLUMO_PLATFORM STREQUAL "x11")
  return()
endif()
# The settings window's opening and its key field's latency beside a minimal
# Qt window; starts a private test desktop for itself (scripts/test-desktop run).
add_executable(bench_settings ${CMAKE_CURRENT_LIST_DIR}/bench_settings.cpp)
target_link_libraries(bench_settings PRIVATE vellumo_settings vellumo_accessibility
  vellumo_platform_x11 vellumo_testsupport Qt6::Widgets Qt6::Test)
target_compile_definitions(bench_settings PRIVATE VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
