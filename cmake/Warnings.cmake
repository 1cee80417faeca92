# One interface target carries the warnings for every target of the project. Which presets make them errors is in
# CMakePresets.json: a newer compiler than the developers' warns of more, and must not fail a user's build.
add_library(bw_warnings INTERFACE)
target_compile_options(bw_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
