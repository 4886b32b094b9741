// The daemon starts neither end of the standby's file synchronisation, and does not even have it.
#include "testing/app/DaemonFixture.h"
#include "testing/app/ListeningPorts.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>

namespace {

constexpr std::uint16_t kSyncPort = 5444;

class Standby : public DaemonFixture {};

TEST_F(Standby, nothingListensForIt) {
    startReady();
    ASSERT_EQ(traced("OrvApp tryStartFileSync: Entry").size(), 2u);  // all that would start it has been called

    const std::set<std::uint16_t> ports = listeningPorts(getpid());

    EXPECT_EQ(ports.count(kSyncPort), 0u);
    EXPECT_EQ(ports.count(primary_.port()), 1u);  // the test's own mail server: this is how a listener would show
}

class Program {
public:
    explicit Program(const char* path) {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream bytes;
        bytes << file.rdbuf();
        bytes_ = bytes.str();
    }
    bool names(std::string_view text) const {
        return memmem(bytes_.data(), bytes_.size(), text.data(), text.size()) != nullptr;
    }

private:
    std::string bytes_;
};

TEST(StandbyProgram, hasNeitherEndOfIt) {
    const Program daemon(ORV_APP);
    const Program party(SYNC_PARTY);  // this is how it would show

    for (const char* name : {"OrvSyncPri", "OrvSyncSec", "orv.out.MesgQSyncSec"}) {
        EXPECT_FALSE(daemon.names(name)) << name;
        EXPECT_TRUE(party.names(name)) << name;
    }
    EXPECT_TRUE(daemon.names("orv.out.SMTPClient"));
}

}  // namespace
