# The Debian package "qvthumbs": the program, its libraries under /usr/lib/qvthumbs, the documents.

install(FILES README.md DESTINATION share/doc/qvthumbs)
install(DIRECTORY docs DESTINATION share/doc/qvthumbs
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.cpp")

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
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/postinst ${CMAKE_CURRENT_LIST_DIR}/postrm)
include(CPack)
