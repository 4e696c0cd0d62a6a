# Where the parts of an installation go. The help files are read from the directory the program is started in,
# so they are installed beside the sample inputs: start the program there to have its help.
install(TARGETS quarlen vex)
if(TARGET vex_shared)
  install(TARGETS vex_shared)
endif()
install(FILES include/vex.h TYPE INCLUDE)
install(DIRECTORY inputs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/quarlen FILES_MATCHING PATTERN "*.dat")
install(FILES driver/help/help.qrn driver/help/xhelp.qrn DESTINATION ${CMAKE_INSTALL_DATADIR}/quarlen)
install(FILES README.md HACKING.md TYPE DOC)
