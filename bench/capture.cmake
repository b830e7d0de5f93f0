# SPDX-License-Identifier: GPL-3.0-or-later
if(NOT VELLUMO_PLATFORM STREQUAL "x11")
  return()
endif()
# Capture, replacement and geometry against real applications. Needs the test
# desktop: the benchmark starts one for itself (scripts/test-desktop run).
add_executable(bench_capture ${CMAKE_CURRENT_LIST_DIR}/bench_capture.cpp)
target_link_libraries(bench_capture PRIVATE vellumo_services vellumo_platform_x11 vellumo_desktoptest Qt6::Gui)
target_compile_definitions(bench_capture PRIVATE
  VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
  COPY_FIXTURE="$<TARGET_FILE:vellumo_copyfixture>")
add_dependencies(bench_capture vellumo_copyfixture)
