# The Debian package "qvthumbs": the program, its libraries under /usr/lib/qvthumbs, the documents, what a desktop needs.

install(FILES README.md DESTINATION share/doc/qvthumbs)
install(DIRECTORY docs DESTINATION share/doc/qvthumbs
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.cpp")
# File managers learn the formats, and what makes thumbnails of them.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/desktop/qvthumbs.thumbnailer DESTINATION share/thumbnailers)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/desktop/qvthumbs.xml DESTINATION share/mime/packages)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qvthumbs)
set(CPACK_PACKAGE_CONTACT "The qvthumbs developers <root@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Thumbnails of microscope images")
set(CPACK_PACKAGE_DESCRIPTION
    "Makes, keeps and shows thumbnails and text information of microscope images, keeps the history of acquisitions,"
    " and provides the service for other programs to load.")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_DEPENDS passwd)
if(OPENSLIDE_FOUND)
  # Loaded at run time, so that no program's needs name it.
  find_library(openslide_file openslide HINTS ${OPENSLIDE_LIBRARY_DIRS} REQUIRED)
  file(REAL_PATH ${openslide_file} openslide_file)
  execute_process(COMMAND dpkg-query --search ${openslide_file} OUTPUT_VARIABLE openslide_package
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE ":.*" "" openslide_package "${openslide_package}")
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", ${openslide_package}")
endif()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/postinst ${CMAKE_CURRENT_LIST_DIR}/postrm)
include(CPack)
