# Debian packages: libleopod1, libleopod-dev and leopod, by `cpack -G DEB` in the build directory or by `make deb`.
set(CPACK_PACKAGE_VENDOR "leopod")
set(CPACK_PACKAGE_CONTACT "leopod maintainers <maintainers@leopod.invalid>" CACHE STRING "maintainer named in the packages")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "satellite orbit determination from GNSS measurements")
set(CPACK_PACKAGE_DESCRIPTION "Determines the orbit of a satellite from the measurements of its own GNSS
receiver, epoch by epoch, on board or on the ground, and fits and
propagates orbits.")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL runtime development python)
if(TARGET leopod_host)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})  # where the program's own library is looked up
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(libleopod libleopod${PROJECT_VERSION_MAJOR})
set(same_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${libleopod})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}\nThis package holds the shared library.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libleopod-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${libleopod} ${same_version}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}\nThis package holds headers, static library, documentation and examples.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME leopod)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${libleopod} ${same_version}")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "gnuplot, libjs-dygraphs")
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}\nThis package holds the program.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-leopod)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${libleopod} ${same_version}, python3, python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "leopod ${same_version}")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pandas, python3-matplotlib")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}\nThis package holds the Python package.")

# Each package carries a changelog of Debian's form. Its date is that of the version in CHANGELOG.md.
file(STRINGS CHANGELOG.md released REGEX "^## \\[${PROJECT_VERSION}\\] - ")
string(REGEX MATCH "[0-9]+-[0-9]+-[0-9]+$" released "${released}")
execute_process(COMMAND date -u -R -d "${released}" OUTPUT_VARIABLE released OUTPUT_STRIP_TRAILING_WHITESPACE)
file(WRITE ${PROJECT_BINARY_DIR}/changelog.Debian
"leopod (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Packages of leopod ${PROJECT_VERSION}; its own CHANGELOG.md tells what is in.

 -- ${CPACK_PACKAGE_CONTACT}  ${released}
")
configure_file(cmake/debian_changelogs.cmake.in ${PROJECT_BINARY_DIR}/debian_changelogs.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_BINARY_DIR}/debian_changelogs.cmake)
include(CPack)
