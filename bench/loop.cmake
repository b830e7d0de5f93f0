# The shortcut-to-paste loop of the vellumo executable; starts a private test
# desktop for itself (scripts/test-desktop run).
add_executable(bench_loop ${CMAKE_CURRENT_LIST_DIR}/bench_loop.cpp)
target_link_libraries(bench_loop PRIVATE vellumo_providers vellumo_commands vellumo_desktoptest
  vellumo_testsupport Qt6::Gui xcb X11 Xtst)
target_compile_definitions(bench_loop PRIVATE
  VELLUMO_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
  VELLUMO_BINARY="$<TARGET_FILE:vellumo>")
add_dependencies(bench_loop vellumo)
