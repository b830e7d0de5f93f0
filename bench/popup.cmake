# SPDX-License-Identifier: GPL-3.0-or-later
# The popup's responsiveness with a large command list.
add_executable(bench_popup ${CMAKE_CURRENT_LIST_DIR}/bench_popup.cpp)
target_link_libraries(bench_popup PRIVATE vellumo_popup vellumo_platform_fake Qt6::Widgets Qt6::Test)
target_compile_definitions(bench_popup PRIVATE
  VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
