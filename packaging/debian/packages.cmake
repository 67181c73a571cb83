# The Debian packages, one for each component of the installation:
#   program       qvthumbs, with the documents and what a desktop needs
#   libraries     libqvthumbs0, the libraries that programs link and the components that these load
#   development   libqvthumbs-dev
#   python        python3-qvthumbs, where the build has the module

set(debian ${CMAKE_CURRENT_LIST_DIR})
set(library_package libqvthumbs${QV_ABI_VERSION})

install(FILES README.md SECURITY.md DESTINATION share/doc/qvthumbs COMPONENT program)
install(DIRECTORY docs DESTINATION share/doc/qvthumbs COMPONENT program
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.cpp" PATTERN CMakeLists.txt)
install(FILES docs/examples/embed.cpp docs/examples/cells.jpg docs/examples/viewer/CMakeLists.txt
        DESTINATION share/doc/libqvthumbs-dev/examples COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL program libraries development)
get_cmake_property(components COMPONENTS)
if(python IN_LIST components)
  list(APPEND CPACK_COMPONENTS_ALL python)
else()
  message(STATUS "No Python module in this build: python3-qvthumbs is not packaged")
endif()

set(CPACK_PACKAGE_NAME qvthumbs)
set(CPACK_PACKAGE_CONTACT "The qvthumbs developers <qvthumbs@qvthumbs.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${debian}/finish.cmake)
set(CPACK_QV_PACKAGE_FILES ${debian})
set(CPACK_QV_ARCHITECTURE ${CMAKE_LIBRARY_ARCHITECTURE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 2)
set(CPACK_DEBIAN_PACKAGE_SOURCE qvthumbs)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
# The first packages held all in one.
set(before_split "qvthumbs (<< 0.1.0-2~)")

# qv_debian_package(<component> <package> <section> <summary> <line of the description>...)
# What it needs and the like stay with the caller.
macro(qv_debian_package component package section summary)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(lines ${ARGN})
  list(JOIN lines "\n" lines)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "thumbnails of microscope images${summary}\n${lines}")
endmacro()

# Libraries that are loaded at run time no program's needs name. qv_package_of(<variable> <library> <folders>).
function(qv_package_of variable library)
  find_library(${library}_file ${library} HINTS ${ARGN} REQUIRED)
  file(REAL_PATH ${${library}_file} file)
  execute_process(COMMAND dpkg-query --search ${file} OUTPUT_VARIABLE package COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE ":.*" "" package "${package}")
  set(${variable} ${package} PARENT_SCOPE)
endfunction()

qv_debian_package(program qvthumbs science ""
  "Makes thumbnails of microscope images (TIFF, OME-TIFF, OME-Zarr, DICOM, MRC,"
  "whole-slide files and others), keeps them in a database for each user or for"
  "all users of a machine, and shows them on pages for a browser and in file"
  "managers. Reads what the files say about themselves, and keeps the history of"
  "acquisitions.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${library_package} (= ${version})")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS xdg-utils)

qv_debian_package(libraries ${library_package} libs " - libraries"
  "The service that makes thumbnails of microscope images in the background and"
  "keeps them in memory and in a database, for programs that show or acquire"
  "images. With the formats it reads, and the process that decodes them."
  "Members of the group qvdocuments share the database in /var/lib/qvdocuments.")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_BREAKS "${before_split}")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_REPLACES "${before_split}")
# One at a time, whatever its number: each brings the components.
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_PROVIDES libqvthumbs)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONFLICTS libqvthumbs)
configure_file(${debian}/shlibs.in ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs ${debian}/triggers
    ${debian}/postinst ${debian}/postrm)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS passwd)
if(OPENSLIDE_FOUND)
  qv_package_of(package openslide ${OPENSLIDE_LIBRARY_DIRS})
  string(APPEND CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS ", ${package}")
endif()
set(recommended)
foreach(library HEIF JXL)
  if(${library}_FOUND)
    string(TOLOWER ${library} name)
    qv_package_of(package ${name} ${${library}_LIBRARY_DIRS})
    list(APPEND recommended ${package})
  endif()
endforeach()
list(JOIN recommended ", " CPACK_DEBIAN_LIBRARIES_PACKAGE_RECOMMENDS)

qv_debian_package(development libqvthumbs-dev libdevel " - development files"
  "The headers of the thumbnail service and of the libraries that a program links"
  "to load it, and how CMake and pkg-config find them. A complete example is in"
  "the documents of the package qvthumbs, with a guide that goes through it.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "qvthumbs, libsqlite3-dev")

qv_debian_package(python python3-qvthumbs python " - Python module"
  "Thumbnails of microscope images, and what the files say about themselves, for"
  "programs in Python: made by the same service, and kept in the same databases.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${library_package} (= ${version}), python3-numpy")
if(python IN_LIST components)
  # It is loaded by the Python that it was built for only.
  execute_process(COMMAND dpkg-query --show --showformat \${Version} python3 OUTPUT_VARIABLE python_version
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCH "^3\\.([0-9]+)" python_version "${python_version}")
  math(EXPR next "${CMAKE_MATCH_1} + 1")
  string(APPEND CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", python3 (>= ${python_version}~), python3 (<< 3.${next})")
endif()

include(CPack)
