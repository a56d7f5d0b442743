# What `cmake --install` puts under the prefix. The folders are fixed: the daemon looks for its engine in lib,
# seen from bin. Components: Runtime (what the daemon needs), Configuration (the two files that an operator
# edits), Development (the libraries of this project, for other programs).
include(CMakePackageConfigHelpers)

install(
  TARGETS vlib argvparser
  EXPORT velmoraTargets
  ARCHIVE DESTINATION lib COMPONENT Development
  FILE_SET HEADERS DESTINATION include COMPONENT Development)
install(EXPORT velmoraTargets NAMESPACE velmora:: DESTINATION lib/cmake/velmora COMPONENT Development)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/velmoraConfig.cmake.in" "${PROJECT_BINARY_DIR}/velmoraConfig.cmake"
  INSTALL_DESTINATION lib/cmake/velmora)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/velmoraConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/velmoraConfig.cmake"
              "${PROJECT_BINARY_DIR}/velmoraConfigVersion.cmake"
        DESTINATION lib/cmake/velmora COMPONENT Development)
# The same for who builds with something else.
function(velmora_install_pkg_config library description)
  set(file "${PROJECT_BINARY_DIR}/velmora-${library}.pc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/velmora.pc.in" "${file}" @ONLY)
  install(FILES "${file}" DESTINATION lib/pkgconfig COMPONENT Development)
endfunction()
velmora_install_pkg_config(vlib "Logger, threads, semaphores, mutexes, files, clocks")
velmora_install_pkg_config(argvparser "Command-line parser")

if(NOT VELMORA_BUILD_DAEMON)
  return()
endif()

install(TARGETS velmoraserviced velmoracheck RUNTIME DESTINATION bin COMPONENT Runtime)
install(TARGETS velmoraengine-probe RUNTIME DESTINATION lib/velmora COMPONENT Runtime)
if(VELMORA_LIGHT_DIR)
  # The library itself, also where the name is a link to it. Its other names are links to this one, so that it is
  # still one file to replace.
  get_target_property(engine velmoraLight IMPORTED_LOCATION)
  get_target_property(engine_names velmoraLight VELMORA_NAMES)
  file(REAL_PATH "${engine}" engine)
  install(FILES "${engine}" RENAME libvelmoraLight.so DESTINATION lib COMPONENT Runtime)
  list(REMOVE_ITEM engine_names libvelmoraLight.so)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/engine-names")
  foreach(name IN LISTS engine_names)
    file(CREATE_LINK libvelmoraLight.so "${PROJECT_BINARY_DIR}/engine-names/${name}" SYMBOLIC)
    install(FILES "${PROJECT_BINARY_DIR}/engine-names/${name}" DESTINATION lib COMPONENT Runtime)
  endforeach()
else()
  install(TARGETS velmoraLight LIBRARY DESTINATION lib COMPONENT Runtime)
  install(TARGETS velmoralight-reader RUNTIME DESTINATION lib/velmora COMPONENT Runtime)
  install(FILES src/velmoralight_standin/include/velmora_light_api_server.h
          DESTINATION include COMPONENT Development)
endif()

install(PROGRAMS packaging/wait-until-serving DESTINATION lib/velmora COMPONENT Runtime)
install(FILES packaging/velmoraserver.sysusers DESTINATION lib/sysusers.d
        RENAME velmoraserver.conf COMPONENT Runtime)
install(FILES packaging/other-engine.conf DESTINATION share/velmora COMPONENT Runtime)
install(FILES docs/velmoraserviced.8 docs/velmoracheck.8 DESTINATION share/man/man8 COMPONENT Runtime)
install(FILES docs/velmora.ini.5 docs/vlog.cfg.5 DESTINATION share/man/man5 COMPONENT Runtime)
install(FILES packaging/completion/velmoraserviced.bash RENAME velmoraserviced
        DESTINATION share/bash-completion/completions COMPONENT Runtime)
install(FILES packaging/completion/velmoracheck.bash RENAME velmoracheck
        DESTINATION share/bash-completion/completions COMPONENT Runtime)
install(FILES packaging/completion/_velmoraserviced packaging/completion/_velmoracheck
        DESTINATION share/zsh/site-functions COMPONENT Runtime)

install(PROGRAMS packaging/haproxy/rolling-restart packaging/health-check DESTINATION lib/velmora COMPONENT Runtime)
install(FILES packaging/haproxy/haproxy.cfg packaging/haproxy/large-buffers.conf DESTINATION share/velmora
        COMPONENT Runtime)

# The units name the prefix, which is known only now: cmake --install may have been told another one.
install(
  CODE "foreach(name velmoraserviced.service velmoraserviced@.service velmoraserviced.target)
  set(unit \"${PROJECT_BINARY_DIR}/\${name}\")
  file(READ \"${PROJECT_SOURCE_DIR}/packaging/\${name}\" text)
  string(REPLACE /opt/velmoraserver \"\${CMAKE_INSTALL_PREFIX}\" text \"\${text}\")
  file(WRITE \"\${unit}\" \"\${text}\")
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/lib/systemd/system\" TYPE FILE FILES \"\${unit}\")
endforeach()"
  COMPONENT Runtime)

# What an operator has edited stays: where the file is there and differs, the new one goes beside it.
install(
  CODE "foreach(name velmora.ini vlog.cfg)
  set(new \"${PROJECT_SOURCE_DIR}/config/\${name}\")
  set(old \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${name}\")
  set(installed \"\${name}\")
  if(EXISTS \"\${old}\" OR IS_SYMLINK \"\${old}\")
    execute_process(COMMAND \"\${CMAKE_COMMAND}\" -E compare_files \"\${old}\" \"\${new}\"
                    RESULT_VARIABLE differs ERROR_QUIET)
    if(NOT differs)
      message(STATUS \"Unchanged: \${old}\")
      continue()
    endif()
    set(installed \"\${name}.new\")
    message(STATUS \"Kept: \${old}; the new one is \${installed}\")
  endif()
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}\" TYPE FILE RENAME \"\${installed}\" FILES \"\${new}\")
endforeach()"
  COMPONENT Configuration)
