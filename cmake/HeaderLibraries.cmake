# bw_header_libraries(TARGET FOLDER...) declares libraries that are headers only, each in a folder of its own. The folders
# are linked into one of the build: a compiler for another system must not see what else is beside them.
function(bw_header_libraries target)
  add_library(${target} INTERFACE)
  set(links "${CMAKE_CURRENT_BINARY_DIR}/${target}")
  file(MAKE_DIRECTORY "${links}")
  foreach(folder IN LISTS ARGN)
    find_path(BW_INCLUDE_${folder} "${folder}" PATHS /usr/local/include /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    file(CREATE_LINK "${BW_INCLUDE_${folder}}/${folder}" "${links}/${folder}" SYMBOLIC)
  endforeach()
  target_include_directories(${target} SYSTEM INTERFACE "${links}")
endfunction()
