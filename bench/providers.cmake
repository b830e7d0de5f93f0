# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(bench_providers bench_providers.cpp)
target_link_libraries(bench_providers PRIVATE vellumo_providers vellumo_testsupport Qt6::Core)
target_compile_definitions(bench_providers PRIVATE VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
