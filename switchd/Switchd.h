// One run of switchd: the services of a switch on the bus, over a store in a directory.
#pragma once

#include <string>

class SqliteStore;
class Transport;

class Switchd {
public:
    // The transport is one that holds the services' names; not owned. It is joined in run().
    Switchd(std::string stateDirectory, Transport& transport);

    // Serves until SIGTERM or SIGINT. The exit status: 0, or 1 when it could not start or lost the bus; the reason
    // has gone to stderr.
    int run();

private:
    int makeDirectories() const;
    int serve(SqliteStore& store);

    std::string state_;
    Transport& transport_;
};
