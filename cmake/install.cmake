# What `cmake --install` lays down: library, generated header, program, CMake package (target
# zalvo::zalvo), pkg-config file, licence and examples. Every path is relative to the prefix, so an
# installed tree may be moved.
install(TARGETS zalvo EXPORT zalvo_targets LIBRARY)
install(FILES ${ZALVO_HEADER_DIR}/zalvo.h TYPE INCLUDE)

include(CMakePackageConfigHelpers)
set(zalvo_cmakedir ${CMAKE_INSTALL_LIBDIR}/cmake/zalvo)
install(EXPORT zalvo_targets NAMESPACE zalvo:: FILE zalvo-config.cmake
        DESTINATION ${zalvo_cmakedir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zalvo-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zalvo-config-version.cmake DESTINATION ${zalvo_cmakedir})

file(RELATIVE_PATH zalvo_pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" zalvo_pc_prefix "${zalvo_pc_prefix}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/zalvo.pc.in ${PROJECT_BINARY_DIR}/zalvo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zalvo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES LICENSE README.md TYPE DOC)
install(DIRECTORY examples TYPE DOC)
