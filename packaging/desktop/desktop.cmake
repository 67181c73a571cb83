# File managers learn the formats, and what makes thumbnails of them; the menu and file managers, what shows a folder.
set(desktop packaging/desktop)
install(FILES ${desktop}/qvthumbs.thumbnailer DESTINATION share/thumbnailers COMPONENT program)
install(FILES ${desktop}/qvthumbs.xml DESTINATION share/mime/packages COMPONENT program)
install(FILES ${desktop}/qvthumbs.desktop DESTINATION share/applications COMPONENT program)
install(FILES ${desktop}/qvthumbs.svg DESTINATION share/icons/hicolor/scalable/apps COMPONENT program)
install(FILES ${desktop}/invalid.qvthumbs.qvthumbs.metainfo.xml DESTINATION share/metainfo COMPONENT program)
