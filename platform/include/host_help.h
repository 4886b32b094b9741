// What every program on a host says in --help about its environment.
#pragma once

#define HSB_ENVIRONMENT_HELP                                                                    \
    "Environment:\n"                                                                            \
    "  HSB_BUS        D-Bus address (default: the system bus for root, else the session bus)\n" \
    "  HSB_ROOT       directory that stands for the switch's / (default: none)\n"
