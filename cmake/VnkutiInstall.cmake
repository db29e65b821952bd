# Libraries, headers, the CMake package VNKUTI and a relocatable pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS CoreUtils BasicUtils EXPORT VNKUTITargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
foreach(root coreutils basicutils)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${root}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VNKUTI
    FILES_MATCHING PATTERN "*.h"
    PATTERN "impl" EXCLUDE PATTERN "plt" EXCLUDE)
endforeach()

set(_cfgdir ${CMAKE_INSTALL_LIBDIR}/cmake/VNKUTI)
install(EXPORT VNKUTITargets NAMESPACE VNKUTI:: DESTINATION ${_cfgdir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VNKUTIConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VNKUTIConfig.cmake INSTALL_DESTINATION ${_cfgdir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VNKUTIConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VNKUTIConfig.cmake ${PROJECT_BINARY_DIR}/VNKUTIConfigVersion.cmake
  DESTINATION ${_cfgdir})

# The prefix is found from the .pc file's own folder, so an installed tree can move.
file(RELATIVE_PATH VNKUTI_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" VNKUTI_PC_TO_PREFIX "${VNKUTI_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/vnkuti-basicutils.pc.in
  ${PROJECT_BINARY_DIR}/vnkuti-basicutils.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vnkuti-basicutils.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The vnkuti tool, finding the installed libraries beside it from its own folder.
if(TARGET vnkuti)
  set_target_properties(vnkuti PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS vnkuti RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
