#include "platform/transport/dbus/DbusTransport.h"
#include "testing/platform/PrivateBus.h"
#include "testing/platform/TransportContract.h"

namespace {

class DbusContractBus final : public ContractBus {
public:
    std::unique_ptr<Transport> process() override {
        DbusTransport::Options options;
        options.role = DbusTransport::Role::SERVICES;
        options.address = bus_.address();
        return std::make_unique<DbusTransport>(options);
    }

private:
    PrivateBus bus_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Dbus, TransportContract,
                         testing::Values(TransportContractParam{"privateBus",
                                                                [] { return std::make_unique<DbusContractBus>(); }}),
                         contractName);
