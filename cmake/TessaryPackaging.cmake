# Installation and the Debian package: the program and its helper side by side
# in <prefix>/lib/tessary (the program looks for the helper beside itself), a
# command in <prefix>/bin, the polkit action naming that helper, the desktop
# entry, icons and the plug-in bundle types.
set(TESSARY_LIBEXEC_DIR lib/tessary)
set(TESSARY_DATA_DIR ${PROJECT_SOURCE_DIR}/data)
set(TESSARY_STAGE_DIR ${CMAKE_BINARY_DIR}/install-data)

install(TARGETS Tessary RUNTIME DESTINATION ${TESSARY_LIBEXEC_DIR})
# Read-only relocations: the helper runs as root and the program holds its channel.
target_link_options(Tessary PRIVATE -Wl,-z,relro,-z,now)
target_link_options(tessary-helper PRIVATE -Wl,-z,relro,-z,now)

# The prefix is known only when installing (cmake --install --prefix, or the
# package's /usr), so the link and the policy's helper path are made then.
install(CODE [[
  set(_root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
  file(MAKE_DIRECTORY "${_root}/bin")
  file(CREATE_LINK ../lib/tessary/Tessary "${_root}/bin/tessary" SYMBOLIC)
  set(TESSARY_HELPER_PATH "${CMAKE_INSTALL_PREFIX}/lib/tessary/tessary-helper")
]])
install(CODE "configure_file(\"${TESSARY_DATA_DIR}/polkit/com.vantorel.tessary.helper.policy.in\"
  \"${TESSARY_STAGE_DIR}/com.vantorel.tessary.helper.policy\" @ONLY)")
install(FILES ${TESSARY_STAGE_DIR}/com.vantorel.tessary.helper.policy DESTINATION share/polkit-1/actions)

install(FILES ${TESSARY_DATA_DIR}/desktop/com.vantorel.Tessary.desktop DESTINATION share/applications)
install(FILES ${TESSARY_DATA_DIR}/mime/tessary.xml DESTINATION share/mime/packages)

# Icons are drawn by a small build tool at every size a desktop asks for.
add_executable(tessary-icon ${TESSARY_DATA_DIR}/icons/TessaryIcon.cpp)
target_link_libraries(tessary-icon PRIVATE tessary_policy Qt6::Gui)
set(TESSARY_ICON_SIZES 16 22 24 32 48 64 128 256 512)
set(TESSARY_ICON_DIR ${CMAKE_BINARY_DIR}/icons)
set(TESSARY_ICON_FILES ${TESSARY_ICON_DIR}/scalable/tessary.svg)
foreach(size IN LISTS TESSARY_ICON_SIZES)
  list(APPEND TESSARY_ICON_FILES ${TESSARY_ICON_DIR}/${size}x${size}/tessary.png)
  install(FILES ${TESSARY_ICON_DIR}/${size}x${size}/tessary.png DESTINATION share/icons/hicolor/${size}x${size}/apps)
endforeach()
install(FILES ${TESSARY_ICON_DIR}/scalable/tessary.svg DESTINATION share/icons/hicolor/scalable/apps)

# Debian wants the change log and manual page compressed, reproducibly.
set(TESSARY_DOC_FILES ${TESSARY_STAGE_DIR}/changelog.gz ${TESSARY_STAGE_DIR}/tessary.1.gz)
add_custom_command(OUTPUT ${TESSARY_ICON_FILES} ${TESSARY_DOC_FILES}
  COMMAND tessary-icon ${TESSARY_ICON_DIR}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${TESSARY_STAGE_DIR}
  COMMAND sh -c "gzip -9n -c '${TESSARY_DATA_DIR}/changelog' > '${TESSARY_STAGE_DIR}/changelog.gz'"
  COMMAND sh -c "gzip -9n -c '${TESSARY_DATA_DIR}/man/tessary.1' > '${TESSARY_STAGE_DIR}/tessary.1.gz'"
  DEPENDS tessary-icon ${TESSARY_DATA_DIR}/changelog ${TESSARY_DATA_DIR}/man/tessary.1
  VERBATIM)
add_custom_target(tessary-install-data ALL DEPENDS ${TESSARY_ICON_FILES} ${TESSARY_DOC_FILES})
install(FILES ${TESSARY_STAGE_DIR}/tessary.1.gz DESTINATION share/man/man1)
install(FILES ${TESSARY_STAGE_DIR}/changelog.gz ${TESSARY_DATA_DIR}/copyright DESTINATION share/doc/tessary)

# A plain install (not a package, whose triggers do this) refreshes the
# desktop's caches so the types and the entry show at once.
install(CODE [[
  if(NOT "$ENV{DESTDIR}")
    find_program(_mime update-mime-database)
    find_program(_desktop update-desktop-database)
    if(_mime)
      execute_process(COMMAND ${_mime} "${CMAKE_INSTALL_PREFIX}/share/mime")
    endif()
    if(_desktop)
      execute_process(COMMAND ${_desktop} "${CMAKE_INSTALL_PREFIX}/share/applications")
    endif()
  endif()
]])

set(CPACK_PACKAGE_NAME tessary)
set(CPACK_PACKAGE_VENDOR Vantorel)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "manager for plug-ins of video, motion-graphics and audio hosts")
set(CPACK_PACKAGE_DESCRIPTION "Tessary lists the plug-ins of video, motion-graphics and audio hosts
kept in a macOS folder layout, and enables, disables, installs and removes
them, for the current user or for all users. Changes to folders shared by
all users go through a small privileged helper started with pkexec.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Vantorel <tessary@vantorel.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "pkexec, libqt6svg6")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
