// Client of the switch's configuration monitor (message format 105). Main thread only.
#pragma once

class Hsb_Component;

class cmon_client {
public:
    explicit cmon_client(Hsb_Component* owner);

    // Tells the monitor that the component can read its configuration; it answers with code 96 and later 97.
    // A negative value when it could not be sent.
    [[nodiscard]] int ready_for_conf();
    // Acknowledges code 96 with a status. A negative value when it could not be sent.
    [[nodiscard]] int conf_read_ack(int status);

private:
    Hsb_Component* owner_;  // Not owned.
};
