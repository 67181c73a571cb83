# What other programs are built with: the headers, and how CMake and pkg-config find them and the libraries.
include(CMakePackageConfigHelpers)

set(cmake_folder lib/cmake/qvthumbs)
install(DIRECTORY include/ DESTINATION include/qvthumbs COMPONENT development FILES_MATCHING PATTERN "*.h")
install(EXPORT qvthumbs FILE qvthumbsConfig.cmake NAMESPACE qvthumbs:: DESTINATION ${cmake_folder}
        COMPONENT development)
# Before 1.0 the second number stands for what the first one does afterwards.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qvthumbsConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvthumbsConfigVersion.cmake DESTINATION ${cmake_folder}
        COMPONENT development)

# The same text on every machine, so it goes to what machines share.
function(qv_pkg_config library description requires)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/development/library.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION share/pkgconfig COMPONENT development)
endfunction()
qv_pkg_config(qvsystem "Thumbnails of microscope images: the registry of components, strings, files" "")
qv_pkg_config(qvpicture "Thumbnails of microscope images: picture buffers" qvsystem)
qv_pkg_config(qvmetadata "Thumbnails of microscope images: experiments and planes" qvsystem)
