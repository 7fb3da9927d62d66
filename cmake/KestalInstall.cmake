# Installs headers, the library, a CMake package (find_package(kestal CONFIG)) and kestal.pc.
include(CMakePackageConfigHelpers)

set(KESTAL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kestal)

install(TARGETS kestal EXPORT kestalTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/public/kestal DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kestalTargets NAMESPACE kestal:: DESTINATION ${KESTAL_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kestalConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kestalConfig.cmake INSTALL_DESTINATION ${KESTAL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kestalConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kestalConfig.cmake ${PROJECT_BINARY_DIR}/kestalConfigVersion.cmake
  DESTINATION ${KESTAL_CMAKE_DIR})

if(KESTAL_BUILD_SHARED)
  set(KESTAL_PC_PRIVATE_LIBS "")
  set(KESTAL_PC_CFLAGS "")
else()
  set(KESTAL_PC_PRIVATE_LIBS "-licui18n -licuuc -licudata -lpthread")
  set(KESTAL_PC_CFLAGS "-DKESTAL_STATIC")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kestal.pc.in ${PROJECT_BINARY_DIR}/kestal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kestal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
