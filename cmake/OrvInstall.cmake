# What belongs where on a host: the programs; with ORV_SERVICE what makes a service of them; what a firmware builds with.
include(GNUInstallDirs)

option(ORV_SERVICE "Install the units, the user, the directories and the bus policy of a system's service" OFF)

# install_file(DIRECTORY FILE...): what one who runs the programs needs.
function(install_file directory)
    install(FILES ${ARGN} DESTINATION ${directory} COMPONENT programs)
endfunction()

install(TARGETS orvApp RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
install_file(${CMAKE_INSTALL_MANDIR}/man8 docs/man/orvApp.8)
if(ORV_HOST)
    # Where it is a service, switchctl is a script that knows the service's bus and files.
    set(tools ${CMAKE_INSTALL_BINDIR})
    if(ORV_SERVICE)
        set(tools ${CMAKE_INSTALL_LIBEXECDIR}/orv)
        configure_file(service/switchctl.in ${CMAKE_BINARY_DIR}/service/switchctl @ONLY)
        install(PROGRAMS ${CMAKE_BINARY_DIR}/service/switchctl DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
    endif()
    install(TARGETS switchd RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
    install(TARGETS switchctl RUNTIME DESTINATION ${tools} COMPONENT programs)
    if(TARGET orvAhead)
        install(TARGETS orvAhead RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/orv COMPONENT programs)
    endif()
    install_file(${CMAKE_INSTALL_MANDIR}/man8 docs/man/switchd.8 docs/man/switchctl.8)
    file(GLOB schemas CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/schemas/*.json)
    install_file(${CMAKE_INSTALL_DATADIR}/switchctl/schemas ${schemas})
    install_file(${CMAKE_INSTALL_DATADIR}/bash-completion/completions switchctl/completion/switchctl)
    install_file(${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions switchctl/completion/_switchctl)
    install_file(${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d switchctl/completion/switchctl.fish)
endif()

if(ORV_SERVICE)
    foreach(unit orvapp switchd)
        configure_file(service/${unit}.service.in ${CMAKE_BINARY_DIR}/service/${unit}.service @ONLY)
        install_file(lib/systemd/system ${CMAKE_BINARY_DIR}/service/${unit}.service)
    endforeach()
    install(PROGRAMS service/check-root DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/orv COMPONENT programs)
    install(FILES service/sysusers.conf DESTINATION lib/sysusers.d RENAME orvapp.conf COMPONENT programs)
    install(FILES service/tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME orvapp.conf COMPONENT programs)
    install(FILES service/bus-policy.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d RENAME orvapp.conf
        COMPONENT programs)
endif()

# What a firmware builds its own daemon with: find_package(orvApp), see docs/porting.md. All rooms in one archive, the host's
# platform in another.
function(install_archive name)
    set(archive ${name}_archive)
    add_library(${archive} STATIC EXCLUDE_FROM_ALL)
    set_target_properties(${archive} PROPERTIES OUTPUT_NAME ${name} LINKER_LANGUAGE CXX)
    foreach(room ${ARGN})
        target_sources(${archive} PRIVATE $<TARGET_OBJECTS:${room}>)
    endforeach()
    install(TARGETS ${archive} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development EXCLUDE_FROM_ALL)
    add_dependencies(orv_development ${archive})
endfunction()

if(NOT ORV_PLATFORM)
    add_custom_target(orv_development)
    add_library(orv_main STATIC EXCLUDE_FROM_ALL src/app/main.cpp)
    target_link_libraries(orv_main PRIVATE orv_flags orv_app)
    install_archive(orvApp orv_main orv_app orv_callhome orv_capture orv_smtp orv_mesgq orv_profile orv_mesg orv_thread
        orv_dbg orv_catalogue orv_base)
    install_archive(orvhsb hsb_client hsb_posix hsb_wire)

    include(CMakePackageConfigHelpers)
    set(package ${CMAKE_INSTALL_LIBDIR}/cmake/orvApp)
    configure_package_config_file(cmake/orvAppConfig.cmake.in ${CMAKE_BINARY_DIR}/orvAppConfig.cmake
        INSTALL_DESTINATION ${package} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
    write_basic_package_version_file(${CMAKE_BINARY_DIR}/orvAppConfigVersion.cmake COMPATIBILITY SameMinorVersion)
    install(FILES ${CMAKE_BINARY_DIR}/orvAppConfig.cmake ${CMAKE_BINARY_DIR}/orvAppConfigVersion.cmake
        DESTINATION ${package} COMPONENT development EXCLUDE_FROM_ALL)
    set(headers ${CMAKE_INSTALL_INCLUDEDIR}/orvApp)
    install(DIRECTORY platform/include/ DESTINATION ${headers} COMPONENT development EXCLUDE_FROM_ALL)
    install(DIRECTORY platform/wire platform/client platform/posix DESTINATION ${headers}/platform
        COMPONENT development EXCLUDE_FROM_ALL FILES_MATCHING PATTERN *.h)
    install(FILES platform/transport/Transport.h DESTINATION ${headers}/platform/transport
        COMPONENT development EXCLUDE_FROM_ALL)
    install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orv-dev COMPONENT development EXCLUDE_FROM_ALL
        PATTERN man EXCLUDE PATTERN figures EXCLUDE PATTERN not_covered.txt EXCLUDE)
endif()
