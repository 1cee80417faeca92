include(GoogleTest)

# bw_discover_tests(<target> <label>...): each test of a program is a test of ctest with these labels.
function(bw_discover_tests target)
  gtest_discover_tests("${target}")
  # The command before takes one label only.
  set(file "${CMAKE_CURRENT_BINARY_DIR}/${target}_labels.cmake")
  file(WRITE "${file}" "foreach(test IN LISTS ${target}_TESTS)
  set_tests_properties(\"\${test}\" PROPERTIES LABELS \"${ARGN}\")
endforeach()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${file}")
endfunction()
