# Where the programs, their manual pages and bash's completion belong on a host.
include(GNUInstallDirs)

install(TARGETS orvApp RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES docs/man/orvApp.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
if(ORV_HOST)
    install(TARGETS switchd switchctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES docs/man/switchd.8 docs/man/switchctl.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
    install(FILES switchctl/completion/switchctl DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()
