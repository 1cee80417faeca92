# Turns what was installed into what Debian wants of a package: its documents are there, those that Debian wants
# compressed are, and everyone may enter the directories whatever the umask is.
set(root "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
set(documents "${root}/usr/share/doc/${CPACK_PACKAGE_NAME}")

file(COPY "${CMAKE_CURRENT_LIST_DIR}/copyright" "${CMAKE_CURRENT_LIST_DIR}/changelog"
  DESTINATION "${documents}"
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

file(GLOB pages "${root}/usr/share/man/man*/*")
# Without name and time, so that the same contents give the same file.
execute_process(COMMAND gzip -9n "${documents}/changelog" ${pages} COMMAND_ERROR_IS_FATAL ANY)

file(CHMOD_RECURSE "${root}/usr" DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
