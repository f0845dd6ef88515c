# Installation: the shared libraries, public headers, the tool, a CMake package
# (find_package(ZTCrypto) gives ZT::crypto) and a pkg-config file.

include(CMakePackageConfigHelpers)

install(TARGETS ztcrypto nqlogu64 nqcext
  EXPORT ZTCryptoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS ztcrypto-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/support/include/nq DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(ZT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZTCrypto)
install(EXPORT ZTCryptoTargets NAMESPACE ZT:: DESTINATION ${ZT_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZTCryptoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZTCryptoConfig.cmake
  INSTALL_DESTINATION ${ZT_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZTCryptoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/ZTCryptoConfig.cmake
  ${PROJECT_BINARY_DIR}/ZTCryptoConfigVersion.cmake
  DESTINATION ${ZT_CMAKE_DIR})

configure_file(${PROJECT_SOURCE_DIR}/cmake/ztcrypto.pc.in ${PROJECT_BINARY_DIR}/ztcrypto.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ztcrypto.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Windows: the DLLs (with the compiler's run-time DLLs beside them in bin/), their import
# libraries in lib/, the headers, the tool and the CMake package, as one zip (make
# windows-package).
if(WIN32)
  install(FILES ${ZT_MINGW_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_NAME ztcrypto)
  set(CPACK_PACKAGE_FILE_NAME ztcrypto-${PROJECT_VERSION}-windows-x86_64)
  set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
  include(CPack)
endif()
