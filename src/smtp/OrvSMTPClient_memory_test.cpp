// An SMTP client for which memory runs out, at each place in turn.
#include "smtp/OrvSMTPClient.h"
#include "testing/FailingCalls.h"
#include "testing/ScriptedMailServer.h"
#include "testing/smtp/MailFixture.h"
#include "testing/smtp/StagedSystem.h"

#include <functional>
#include <new>

namespace {

class OrvSMTPClientMemory : public MailTest {
protected:
    // Takes the step with a new client again and again; each time another allocation fails, until none is left to.
    void expectNoListLeft(const std::function<void(OrvSMTPClient&)>& step) {
        unsigned thrown = 0;
        unsigned resolved = 0;
        bool failed = true;
        for (unsigned after = 0; failed; ++after) {
            SCOPED_TRACE(after);
            StagedSystem system;
            system.addresses = {"127.0.0.1", "127.0.0.1"};
            system.canonical = "switch.of.a.long.name.example.com";
            OrvSMTPClient client({}, system);
            {
                const FailingMemory noMemory(MemoryFaults::kThrowing, after, 1);
                try {
                    step(client);
                } catch (const std::bad_alloc&) {
                    ++thrown;
                    resolved += system.resolved;
                }
                failed = noMemory.failed();
            }
            EXPECT_EQ(system.lists, 0);
        }
        EXPECT_GE(thrown, 1u);
        EXPECT_GE(resolved, 1u) << "an allocation failed while there was a list";
    }

    ScriptedMailServer server_;
};

}  // namespace

TEST_F(OrvSMTPClientMemory, freesTheAddressesOfANameWhicheverAllocationFails) {
    const std::string name = "mail.example.com";
    server_.refuseConnections();
    expectNoListLeft([&](OrvSMTPClient& client) {
        EXPECT_EQ(client.connectServer(name, server_.port(), SmtpAddrMode::kHostName), -1);
    });
}

TEST_F(OrvSMTPClientMemory, freesTheAddressesOfItsOwnNameWhicheverAllocationFails) {
    const std::string name = "switch.example.com";
    expectNoListLeft([&](OrvSMTPClient& client) {
        EXPECT_EQ(client.sendHello(name, SmtpAddrMode::kHostName), -1);  // it is connected to nobody
    });
}
