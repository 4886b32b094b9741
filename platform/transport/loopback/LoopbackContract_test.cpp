#include "platform/transport/loopback/LoopbackBus.h"
#include "platform/transport/loopback/LoopbackTransport.h"
#include "testing/platform/TransportContract.h"

namespace {

class LoopbackContractBus final : public ContractBus {
public:
    std::unique_ptr<Transport> process() override { return std::make_unique<LoopbackTransport>(bus_); }

private:
    LoopbackBus bus_;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Loopback, TransportContract,
                         testing::Values(TransportContractParam{
                             "oneProgram", [] { return std::make_unique<LoopbackContractBus>(); }}),
                         contractName);
