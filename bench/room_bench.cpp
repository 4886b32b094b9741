// Rooms of the daemon in one process, each beside a floor that does the same system calls and nothing else.
//
// The queue's files and the traces stand below TMPDIR; a directory in memory keeps the disk out of the figures.
#include "Log_Event.h"
#include "MessageCodes.h"
#include "bench/FloorWork.h"
#include "dbg/OrvDbg.h"
#include "dbg/OrvEventLog.h"
#include "mesgq/OrvCHMesgQ.h"
#include "orvClient.h"
#include "profile/OrvConfigListener.h"
#include "testing/LoopbackSwitch.h"
#include "testing/StubComponent.h"
#include "testing/TempRoot.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace {

constexpr char kTraceModule[] = "room_bench";
constexpr int kAdmissions = 1000;  // each adds an entry, so that their number is bounded
constexpr unsigned kAdmissionLines = 3;

struct Deaf final : OrvConfigListener {
    void configComplete(unsigned) override {}
};

// A message queue on a switch of its own, open for business and with room for everything.
class OpenQueue {
public:
    OpenQueue() {
        if (Log_Event::instance_m == nullptr) {
            Log_Event::instance_m = new Log_Event;
        }
        Log_Event::instance_m->open();
        component_.insert();
        setOrvApplication(&component_);
        component_.onBulk = [this](const DsBulkReply& reply) {
            queue_->processConfigBulk(reply.entries, reply.statuses);
        };
        for (const auto& [name, value] : {std::pair{"ThrottleDupsEnable", "True"},
                                          {"ThrottleDupsPeriod", "15"},
                                          {"DiscardPeriod", "86400"},
                                          {"FileSystemSpaceAllowed", "1000000000"},
                                          {"FilesAllowed", "100000"}}) {
            switch_.set(std::string("Global.Callhome.") + name, value);
        }
        switch_.pump();
        start();
    }
    ~OpenQueue() {
        queue_.reset();
        setOrvApplication(nullptr);
    }
    OpenQueue(const OpenQueue&) = delete;
    OpenQueue& operator=(const OpenQueue&) = delete;

    void admit(unsigned number) {
        if (queue_->add(message(number), false, false, 86400, -1, false) < 0) {
            throw std::runtime_error("the queue refuses a message");
        }
    }
    // The daemon ends and starts again: all up to the moment when it is open for business.
    void start() {
        queue_.reset();
        queue_ = std::make_unique<OrvCHMesgQ>(component_.ds(), responses_, deaf_);
        if (queue_->readConfig() < 0) {
            throw std::runtime_error("the quotas cannot be read");
        }
        switch_.pump();
        queue_->setMonitorReady();
        queue_->oneSecondChores();
        if (!queue_->openForBusiness()) {
            throw std::runtime_error("the queue does not open");
        }
    }
    std::uint32_t count() const { return queue_->sendCount(); }

    static std::unique_ptr<OrvCHMesg> message(unsigned number) {
        auto made = std::make_unique<OrvCHMesg>(OrvCHMesg::kLogEvent);
        made->Time = "Tue Nov 14 22:13:20 UTC 2023";
        made->ID = "0002.0001";
        made->Text = "Blade fault detected, number " + std::to_string(number);
        made->logEvent()->Level = 2;
        made->logEvent()->App = "Blade";
        auto envelope = std::make_unique<OrvCHEnvelope>();
        envelope->MaxSize = 650;
        envelope->Type = "FullText";
        envelope->ProfileName = "Operators";
        envelope->Subject = "Switch in the lab";
        envelope->Recipients = {"operator@example.com"};
        made->addEnvelope(std::move(envelope));
        return made;
    }

private:
    LoopbackSwitch switch_;
    Deaf deaf_;
    StubComponent component_;
    orvClient responses_;
    std::unique_ptr<OrvCHMesgQ> queue_;
};

// The calling thread's trace, on a root that is there while it lives.
class Traced {
public:
    Traced() {
        if (OrvDbg::setOfThread(&logger_) < 0) {
            throw std::runtime_error("no trace");
        }
    }
    ~Traced() { (void)OrvDbg::setOfThread(nullptr); }
    Traced(const Traced&) = delete;
    Traced& operator=(const Traced&) = delete;

private:
    OrvDbg logger_{"bench"};
};

void traceLine(benchmark::State& state) {
    TempRoot root;
    Traced traced;
    for (auto _ : state) {
        ORV_TRACE("%s\n", "what a line of the trace says, about as long as such lines are");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(traceLine);

void floorTraceLine(benchmark::State& state) {
    TempRoot root;
    FloorTrace trace(root.at("/tmp/floor"), FloorCare::kBare);
    for (auto _ : state) {
        trace.lines(1);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(floorTraceLine);

// The range is the number of entries that wait already.
void admitMessage(benchmark::State& state) {
    OpenQueue queue;
    Traced traced;
    unsigned number = 0;
    while (number < static_cast<unsigned>(state.range(0))) {
        queue.admit(number++);
    }
    for (auto _ : state) {
        queue.admit(number++);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(admitMessage)->Arg(0)->Arg(100)->Arg(10000)->Iterations(kAdmissions);

void floorAdmitMessage(benchmark::State& state) {
    TempRoot root;
    FloorTrace trace(root.at("/tmp/floor"), FloorCare::kBare);
    FloorQueue queue(root.at("/tmp"), static_cast<unsigned>(state.range(0)), FloorCare::kBare);
    unsigned number = 0;
    for (auto _ : state) {
        trace.lines(kAdmissionLines);
        queue.admit(number++);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(floorAdmitMessage)->Arg(0)->Arg(100)->Arg(10000)->Iterations(kAdmissions);

// From a daemon that starts to its queue open for business, with so many entries on flash.
void restoreEntries(benchmark::State& state) {
    OpenQueue queue;
    for (unsigned number = 0; number < static_cast<unsigned>(state.range(0)); ++number) {
        queue.admit(number);
    }
    for (auto _ : state) {
        queue.start();
    }
    if (queue.count() != static_cast<std::uint32_t>(state.range(0))) {
        state.SkipWithError("entries were lost");
    }
}
BENCHMARK(restoreEntries)->Arg(0)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
