# What `cmake --install` delivers, in four components, which are the Debian packages of `cpack -G DEB` too:
#   runtime      the shared library
#   development  headers, static library, CMake package, pkg-config file, documentation, examples
#   python       the Python package
#   program      leopod with its manual pages, sample configurations and guide, where the host is built
include(CMakePackageConfigHelpers)

install(TARGETS leopod leopod_static EXPORT leopodTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES ${LEOPOD_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/leopod COMPONENT development)

# find_package(leopod): targets leopod::leopod and leopod::leopod_static.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/leopod)
install(EXPORT leopodTargets NAMESPACE leopod:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/leopodConfig.cmake.in ${PROJECT_BINARY_DIR}/leopodConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/leopodConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/leopodConfig.cmake ${PROJECT_BINARY_DIR}/leopodConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# pkg-config: the prefix is found from the file's own place, so that an installed tree can be moved.
file(RELATIVE_PATH LEOPOD_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" LEOPOD_PC_TO_PREFIX "${LEOPOD_PC_TO_PREFIX}")
configure_file(cmake/leopod.pc.in ${PROJECT_BINARY_DIR}/leopod.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/leopod.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# Documentation and examples, as they lie in the source tree, so that their links hold.
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        PATTERN Doxyfile EXCLUDE PATTERN man EXCLUDE PATTERN __pycache__ EXCLUDE PATTERN ".*" EXCLUDE
        REGEX "/campaign/(data|results|slurm)$" EXCLUDE)
