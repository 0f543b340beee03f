# Sets hq_httplib to the target with the header of cpp-httplib, by its CMake package or, where a distribution brings none,
# by pkg-config.
find_package(httplib CONFIG QUIET)
if(httplib_FOUND)
  set(hq_httplib httplib::httplib)
  # Only secure servers need it, and not every compiler for Windows brings it.
  get_target_property(httplib_libraries httplib::httplib INTERFACE_LINK_LIBRARIES)
  list(FILTER httplib_libraries EXCLUDE REGEX "cryptui|NOTFOUND")
  set_target_properties(httplib::httplib PROPERTIES INTERFACE_LINK_LIBRARIES "${httplib_libraries}")
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
  set(hq_httplib PkgConfig::HTTPLIB)
endif()
