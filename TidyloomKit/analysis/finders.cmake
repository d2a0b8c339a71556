# The large-file and duplicate finders, a library of their own until they join the analysis library.
set(finders_dir "${CMAKE_CURRENT_LIST_DIR}")
add_library(tidyloom_finders STATIC
  "${finders_dir}/directory_entries.cpp"
  "${finders_dir}/duplicate_file_scanner.cpp"
  "${finders_dir}/duplicate_group.cpp"
  "${finders_dir}/file_digest.cpp"
  "${finders_dir}/finder_json.cpp"
  "${finders_dir}/large_file_item.cpp"
  "${finders_dir}/large_file_kind.cpp"
  "${finders_dir}/large_file_rules.cpp"
  "${finders_dir}/large_file_scanner.cpp")
target_link_libraries(tidyloom_finders PUBLIC tidyloom_core PRIVATE tidyloom_options OpenSSL::Crypto)

tidyloom_add_test(finders_test SOURCES
  "${finders_dir}/duplicate_file_scanner_test.cpp"
  "${finders_dir}/large_file_scanner_test.cpp"
  "${finders_dir}/large_file_kind_test.cpp"
  LIBS tidyloom_finders)
