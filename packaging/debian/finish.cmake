# Run by CPack on the installed files of every package, before it packs them: what Debian wants of a package and no other
# installation has.

# One file, in the place of which its compressed form goes; without times, so that equal packages have equal bytes.
function(compress file)
  execute_process(COMMAND gzip --best --no-name --force ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# What has no library of its own but becomes part of what is packaged asks for its notice.
set(parts_of_program libcli11-dev libsqlitecpp-dev nlohmann-json3-dev)
set(parts_of_libraries nlohmann-json3-dev)
set(parts_of_python libsqlitecpp-dev nlohmann-json3-dev pybind11-dev)

function(add_documents root package)
  set(folder ${root}/share/doc/${package})
  file(COPY ${CPACK_QV_PACKAGE_FILES}/copyright DESTINATION ${folder})
  configure_file(${CPACK_QV_PACKAGE_FILES}/changelog ${folder}/changelog.Debian COPYONLY)
  compress(${folder}/changelog.Debian)
  foreach(part IN LISTS ARGN)
    configure_file(/usr/share/doc/${part}/copyright ${folder}/notices/${part} COPYONLY)
  endforeach()
endfunction()

# The loader looks for a library in the folder of the machine's libraries. What it leads to lies among the components,
# where the registry looks for them.
function(link_libraries root package)
  configure_file(${CPACK_QV_PACKAGE_FILES}/overrides ${root}/share/lintian/overrides/${package} COPYONLY)
  file(GLOB libraries RELATIVE ${root}/lib/qvthumbs ${root}/lib/qvthumbs/libqv*.so.*)
  set(folder ${root}/lib/${CPACK_QV_ARCHITECTURE})
  file(MAKE_DIRECTORY ${folder})
  foreach(library IN LISTS libraries)
    if(library MATCHES "\\.so\\.[0-9]+$")
      file(CREATE_LINK ../qvthumbs/${library} ${folder}/${library} SYMBOLIC)
    endif()
  endforeach()
endfunction()

# So nothing has to say where else to look.
function(remove_search_paths root)
  file(GLOB_RECURSE files ${root}/bin/* ${root}/lib/qvthumbs/* ${root}/lib/python3/*.so)
  foreach(file IN LISTS files)
    if(NOT IS_SYMLINK ${file})
      file(RPATH_REMOVE FILE ${file})
    endif()
  endforeach()
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  add_documents(${root} ${CPACK_DEBIAN_${upper}_PACKAGE_NAME} ${parts_of_${component}})
  remove_search_paths(${root})
  if(component STREQUAL libraries)
    link_libraries(${root} ${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME})
  endif()
  file(GLOB pages ${root}/share/man/man*/*)
  foreach(page IN LISTS pages)
    compress(${page})
  endforeach()
endforeach()
