# The TIFF family; included by the folder above.
pkg_check_modules(TIFF REQUIRED IMPORTED_TARGET GLOBAL libtiff-4)
find_package(pugixml REQUIRED GLOBAL)
list(APPEND sources
  tiff/block_source.cpp
  tiff/codec_blocks.cpp
  tiff/dataset.cpp
  tiff/dataset_imagej.cpp
  tiff/dataset_ome.cpp
  tiff/describe.cpp
  tiff/describe_imagej.cpp
  tiff/describe_ome.cpp
  tiff/describe_tags.cpp
  tiff/exif_block.cpp
  tiff/file_set.cpp
  tiff/ifd_chain.cpp
  tiff/imagej.cpp
  tiff/jpeg_blocks.cpp
  tiff/jpeg_means.cpp
  tiff/jpeg_streams.cpp
  tiff/lzw.cpp
  tiff/ome_channels.cpp
  tiff/ome_index.cpp
  tiff/ome_node.cpp
  tiff/ome_people.cpp
  tiff/ome_pixels.cpp
  tiff/ome_planes.cpp
  tiff/ome_xml.cpp
  tiff/page.cpp
  tiff/page_reader.cpp
  tiff/pixel_rows.cpp
  tiff/pyramid.cpp
  tiff/raw_blocks.cpp
  tiff/read_picture.cpp
  tiff/render_overview.cpp
  tiff/rgba_blocks.cpp
  tiff/sample_unpack.cpp
  tiff/tags.cpp
  tiff/tiff_codec.cpp
  tiff/tiff_handle.cpp
  tiff/tiff_image.cpp
  tiff/units.cpp)
list(APPEND libraries PkgConfig::TIFF pugixml::pugixml)
