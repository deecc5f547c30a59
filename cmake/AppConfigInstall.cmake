# What an application's build finds in a prefix: the library, on a host the platform that stands in for a device's, their
# headers, a CMake package and a pkg-config file.
#   AppConfig::appconfig  the library; its headers drag in neither protobuf nor the message classes
#   AppConfig::platform   on a host: the transports
#   AppConfig::messages   on a host: the message classes, for who includes AppConfig/ProtobufMessageHelper.h
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/AppConfig")
set(platform_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/AppConfig/platform")
set(messages_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/AppConfig/messages")

install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/AppConfig" "${PROJECT_SOURCE_DIR}/include/AppConfigLocks"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")
install(TARGETS appconfig EXPORT AppConfigTargets LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")

set(APPCONFIG_PC_LIBS "-lappconfig")
set(APPCONFIG_PC_CFLAGS "")
if(APPCONFIG_HOST)
  set_target_properties(appconfig_wire PROPERTIES EXPORT_NAME wire VERSION ${PROJECT_VERSION} SOVERSION 0)
  set_target_properties(appconfig_platform PROPERTIES EXPORT_NAME platform VERSION ${PROJECT_VERSION} SOVERSION 0
                                                      INSTALL_RPATH "$ORIGIN")
  set_target_properties(appconfig_messages PROPERTIES EXPORT_NAME messages)
  target_include_directories(appconfig_platform SYSTEM INTERFACE $<INSTALL_INTERFACE:${platform_include_dir}>)
  target_include_directories(appconfig_messages SYSTEM INTERFACE $<INSTALL_INTERFACE:${messages_include_dir}>)
  # The classes live in the wire library; who names the messages needs it too.
  target_link_libraries(appconfig_messages INTERFACE $<INSTALL_INTERFACE:AppConfig::wire>)
  install(TARGETS appconfig_wire appconfig_platform appconfig_messages EXPORT AppConfigTargets
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  set(host "${PROJECT_SOURCE_DIR}/platform/host")
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/platform/include/" DESTINATION "${platform_include_dir}"
          FILES_MATCHING PATTERN "*.h")
  install(FILES "${host}/UnixTransport.h" "${host}/InProcessTransport.h" "${host}/SocketTransport.h"
                "${host}/TransportOptions.h" "${host}/TransportStatus.h"
                "${host}/ForwardingTransport.h" "${host}/FaultTransport.h" "${host}/RecordingTransport.h"
          DESTINATION "${platform_include_dir}")
  install(FILES "${PROJECT_SOURCE_DIR}/wire/FrameLimit.h" "${PROJECT_SOURCE_DIR}/wire/InProcessPeer.h"
          DESTINATION "${platform_include_dir}/wire")
  set(definition "${PROJECT_SOURCE_DIR}/Common/protobuf/v3")
  set(generated "${PROJECT_BINARY_DIR}/Common/protobuf/v3/generated")
  install(FILES "${definition}/MessageIds.h" "${definition}/common.proto" "${definition}/configservice.proto"
                "${definition}/configadmin.proto" "${generated}/common.pb.h" "${generated}/configservice.pb.h"
                "${generated}/configadmin.pb.h"
          DESTINATION "${messages_include_dir}")
  string(APPEND APPCONFIG_PC_LIBS " -lappconfig_platform -lappconfig_wire")
  set(APPCONFIG_PC_CFLAGS " -isystem \${includedir}/AppConfig/platform")
endif()

foreach(program appconfigd appcfg)
  if(TARGET ${program})
    set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  endif()
endforeach()

install(EXPORT AppConfigTargets NAMESPACE AppConfig:: DESTINATION "${package_dir}")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/AppConfigConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/AppConfigConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/AppConfigConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/AppConfigConfig.cmake" "${PROJECT_BINARY_DIR}/AppConfigConfigVersion.cmake"
        DESTINATION "${package_dir}")

# Found relative to itself, so that a prefix may be moved.
file(RELATIVE_PATH APPCONFIG_PC_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file("${CMAKE_CURRENT_LIST_DIR}/appconfig.pc.in" "${PROJECT_BINARY_DIR}/appconfig.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/appconfig.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
