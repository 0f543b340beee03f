# Sets hq_httplib to the target with the header of cpp-httplib, by its CMake package or, where a distribution brings none,
# by pkg-config.
find_package(httplib CONFIG QUIET)
if(httplib_FOUND)
  set(hq_httplib httplib::httplib)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
  set(hq_httplib PkgConfig::HTTPLIB)
endif()
