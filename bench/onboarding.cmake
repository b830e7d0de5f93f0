# SPDX-License-Identifier: GPL-3.0-or-later
if(NOT VELLUMO_PLATFORM STREQUAL "x11")
  return()
endif()
# From starting vellumo on a fresh account to its first-start guide painted,
# beside a minimal Qt program painting the same heading in a window of the
# same size; starts a private test desktop for itself.
add_executable(bench_minimalguide ${CMAKE_CURRENT_LIST_DIR}/minimalguide.cpp)
target_link_libraries(bench_minimalguide PRIVATE Qt6::Widgets)

add_executable(bench_onboarding ${CMAKE_CURRENT_LIST_DIR}/bench_onboarding.cpp)
target_link_libraries(bench_onboarding PRIVATE vellumo_config Qt6::Gui xcb)
target_compile_definitions(bench_onboarding PRIVATE
  VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
  VELLUMO_BINARY="$<TARGET_FILE:vellumo>"
  MINIMAL_GUIDE="$<TARGET_FILE:bench_minimalguide>")
add_dependencies(bench_onboarding vellumo bench_minimalguide)
