# Tests written in Python run as one test of ctest per module, against the programs of this build.

# bw_add_pytest(<name> <file> LABELS <label>... [ARGUMENTS <argument of pytest>...] [TIMEOUT <seconds>] [COST <seconds>])
#
# COST is about how long a module takes that takes longer than most: ctest starts the longest first.
#
# The module finds the build in the environment variable BW_BUILD_DIR and can import the modules of lab and tests/support.
function(bw_add_pytest name file)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "TIMEOUT;COST" "ARGUMENTS;LABELS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  if(NOT arg_COST)
    set(arg_COST 1)
  endif()
  cmake_path(ABSOLUTE_PATH file NORMALIZE)
  set(environment
    "BW_BUILD_DIR=${PROJECT_BINARY_DIR}"
    "PYTHONPATH=${PROJECT_SOURCE_DIR}/lab:${PROJECT_SOURCE_DIR}/tests/support"
    PYTHONDONTWRITEBYTECODE=1
    "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
  add_test(NAME "${name}" COMMAND /usr/bin/python3 -m pytest -q -p no:cacheprovider ${arg_ARGUMENTS} "${file}")
  set_tests_properties("${name}" PROPERTIES
    LABELS "${arg_LABELS}"
    TIMEOUT "${arg_TIMEOUT}"
    COST "${arg_COST}"
    ENVIRONMENT "${environment}")
endfunction()
