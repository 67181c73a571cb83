# The TIFF family; included by this folder's CMakeLists.txt.
foreach(target open ome imagej)
  qv_fuzzer(imageformats_tiff_${target}_fuzzer SOURCES ${CMAKE_CURRENT_LIST_DIR}/tiff_${target}_fuzzer.cpp
    LIBS gnr_imageformats_objects qvsystem qvpicture qvmetadata ${QV_IMAGEFORMATS_LIBRARIES})
endforeach()
