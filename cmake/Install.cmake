# Installation (`cmake --install build --prefix P`). The library needs its component folders beside
# it, as in the build tree's out/: it finds FormatHost/, SCF/, Settings/<language> and the metadata
# module by its own location. So they go together into one folder of their own,
# P/<libdir>/tidewright, and the tools in P/bin find the library there through their run path
# (dlopen of a bare name searches the caller's RUNPATH). Desktop integration follows the XDG
# layout under P/share.
include(GNUInstallDirs)

set(TW_INSTALL_MODULEDIR ${CMAKE_INSTALL_LIBDIR}/tidewright)

install(TARGETS tidework LIBRARY DESTINATION ${TW_INSTALL_MODULEDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs/help/ DESTINATION ${TW_INSTALL_MODULEDIR}/Settings)
foreach(_module formathost:FormatHost vometadata:. builtintransforms:SCF builtinpages:SCF surround:SCF)
  string(REPLACE ":" ";" _pair ${_module})
  list(GET _pair 0 _target)
  list(GET _pair 1 _folder)
  if(TARGET ${_target})
    install(TARGETS ${_target} LIBRARY DESTINATION ${TW_INSTALL_MODULEDIR}/${_folder})
  endif()
endforeach()

file(RELATIVE_PATH _tools_to_modules /${CMAKE_INSTALL_BINDIR} /${TW_INSTALL_MODULEDIR})
foreach(_tool tidewright tideclip)
  if(TARGET ${_tool})
    set_target_properties(${_tool} PROPERTIES INSTALL_RPATH "$ORIGIN/${_tools_to_modules}")
    target_compile_definitions(${_tool} PRIVATE TW_TOOLS_TO_MODULES="${_tools_to_modules}")
    install(TARGETS ${_tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

install(FILES ${CMAKE_SOURCE_DIR}/docs/man/tidewright.1 ${CMAKE_SOURCE_DIR}/docs/man/tideclip.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_SOURCE_DIR}/data/tidewright.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${CMAKE_SOURCE_DIR}/data/vond-tidewright.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)
install(FILES ${CMAKE_SOURCE_DIR}/data/tidewright.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

# Bitmaps of the icon for desktops that want them, where a renderer is at hand; the SVG suffices.
find_program(TW_RSVG_CONVERT rsvg-convert)
if(TW_RSVG_CONVERT)
  set(_icons)
  foreach(_size 16 32 48 64 128 256)
    set(_png ${CMAKE_BINARY_DIR}/icons/${_size}/tidewright.png)
    add_custom_command(OUTPUT ${_png}
                       COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/icons/${_size}
                       COMMAND ${TW_RSVG_CONVERT} -w ${_size} -h ${_size} -o ${_png} ${CMAKE_SOURCE_DIR}/data/tidewright.svg
                       DEPENDS ${CMAKE_SOURCE_DIR}/data/tidewright.svg COMMENT "Icon ${_size}x${_size}" VERBATIM)
    list(APPEND _icons ${_png})
    install(FILES ${_png} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${_size}x${_size}/apps)
  endforeach()
  add_custom_target(tidewright_icons ALL DEPENDS ${_icons})
endif()
