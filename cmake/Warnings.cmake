# One interface target carries the warnings, as errors, for every target of the project.
add_library(bw_warnings INTERFACE)
target_compile_options(bw_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
