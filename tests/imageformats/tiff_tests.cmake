# The TIFF family; included by this folder's CMakeLists.txt.
set(tiff_tests
  tiff_colors_test.cpp
  tiff_hostile_test.cpp
  tiff_imagej_test.cpp
  tiff_levels_test.cpp
  tiff_lzw_test.cpp
  tiff_metadata_test.cpp
  tiff_ome_schemas_test.cpp
  tiff_ome_test.cpp
  tiff_rare_compressions_test.cpp
  tiff_samples_test.cpp
  tiff_test_image.cpp
  tiff_text_test.cpp
  tiff_writer.cpp)
list(TRANSFORM tiff_tests PREPEND ${CMAKE_CURRENT_LIST_DIR}/)
imageformats_test(imageformats_tiff_test ${tiff_tests})
