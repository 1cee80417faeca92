# What cpack makes of an installation: a Debian package, or an archive for Windows.
set(CPACK_PACKAGE_NAME bw-db-migrate)
# There is no address that takes mail, and Debian wants one.
set(CPACK_PACKAGE_CONTACT "bw_db_migrate developers <developers@bw-db-migrate.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "copy the Brantwell database from SQL Server to PostgreSQL")
set(CPACK_STRIP_FILES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
  set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/debian/complete.cmake")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

  set(CPACK_DEBIAN_PACKAGE_SECTION database)
  set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Copies the 22 tables of the Brantwell database, schema version 29, from
Microsoft SQL Server to PostgreSQL through ODBC.

bw_db_migrate is run once, by an operator, in a directory that holds
bw_migrate.ini. It asks for two passwords, shows its progress on the console
and writes every row that it migrated to a log.

bw_db_check shows beforehand what the run will do to the data, and proves
afterwards what it did.")

  # The libraries are those that the program is linked with. The drivers are named: the driver manager loads them. They
  # are depended on and not merely recommended: without them the program does nothing. Both are "Multi-Arch: same", so
  # this means the drivers of the program's own architecture, the only ones that can be loaded.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "tdsodbc, odbc-postgresql")
  # isql, which shows whether a data source works.
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS unixodbc)
endif()

include(CPack)
