// The process from its first step to its status. A program of its own without threads: each test runs main in a child.
#include "app/OrvMain.h"

#include "Descriptor.h"
#include "Dispatcher.h"
#include "Hsb_Message.h"
#include "Log_Event.h"
#include "MessageCodes.h"
#include "dbg/OrvEventLog.h"
#include "testing/LoopbackSwitch.h"
#include "testing/app/MainSteps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using Steps = std::vector<std::string>;

class OrvMain : public testing::Test {
protected:
    // What a child's main does on the way, beside its own steps.
    using Prepare = std::function<void(MainSteps& steps, LoopbackSwitch& host)>;

    // Runs main in a child process on a switch of its own. Its exit status, or minus the signal that ended it; the
    // steps that it made are in steps_.
    int run(const Prepare& prepare) {
        int ends[2];
        if (pipe(ends) != 0) {
            return -1000;
        }
        Descriptor reading(ends[0]);
        Descriptor writing(ends[1]);
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            reading.reset();
            runChild(writing.get(), prepare);
        }
        writing.reset();
        readSteps(reading.get(), child);
        reading.reset();
        int status = 0;
        return waitpid(child, &status, 0) != child ? -1000
               : WIFEXITED(status)                 ? WEXITSTATUS(status)
                                                   : -WTERMSIG(status);
    }
    int run() {
        return run([](MainSteps&, LoopbackSwitch&) {});
    }

    std::vector<std::string> trace() const { return root_.trace("orv.out.Main"); }
    std::string lastTrace() const {
        const std::vector<std::string> lines = trace();
        return lines.empty() ? "" : lines.back();
    }

    static Steps joined(std::initializer_list<Steps> pieces) {
        Steps all;
        for (const Steps& piece : pieces) {
            all.insert(all.end(), piece.begin(), piece.end());
        }
        return all;
    }

    static constexpr int kUncaught = 99;  // the status of a child whose main let an exception go

    const Steps kTrace{"tzset", "openlog orvApp 0 8", "pthread_key_create", "pthread_setspecific"};
    const Steps kPlatform{"Hsb::init 64 0 0", "Cns::init 0", "Ens::init", "Log_Event::open"};
    const Steps kServed{"Hsb_Slot::insert", "Hsb::handle_events without limit"};
    const Steps kEnd{"Log_Event::close", "Ens::shutdown", "Cns::shutdown", "Hsb::shutdown"};

    TempRoot root_;
    Steps steps_;

private:
    [[noreturn]] void runChild(int report, const Prepare& prepare) {
        LoopbackSwitch host(root_);
        host.leaveBus();
        Log_Event::instance_m = nullptr;
        MainSteps steps([report](const std::string& step) {
            // With its NUL: a text may hold a line feed.
            [[maybe_unused]] const ssize_t written = write(report, step.c_str(), step.size() + 1);
        });
        steps.serve = [] { return 0; };
        prepare(steps, host);
        try {
            std::exit(orvMain());
        } catch (...) {
            std::_Exit(kUncaught);
        }
    }

    // Until the child has ended; one that does not is killed.
    void readSteps(int report, pid_t child) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        std::string text;
        pollfd ready{report, POLLIN, 0};
        char bytes[512];
        for (ssize_t count = 1; count > 0;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
                ADD_FAILURE() << "main does not end";
                kill(child, SIGKILL);
                break;
            }
            count = read(report, bytes, sizeof bytes);
            text.append(bytes, static_cast<std::size_t>(count > 0 ? count : 0));
        }
        for (std::size_t end = 0; (end = text.find('\0')) != std::string::npos; text.erase(0, end + 1)) {
            steps_.push_back(text.substr(0, end));
        }
    }
};

TEST_F(OrvMain, makesItsStepsInOrderAndEndsWithStatusZero) {
    EXPECT_EQ(run(), 0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, kServed, kEnd}));
}

TEST_F(OrvMain, endsWithStatusZeroAndASyslogLineWithoutABus) {
    EXPECT_EQ(run([](MainSteps&, LoopbackSwitch& host) { host.bus().refuseJoins(true); }), 0);

    EXPECT_EQ(steps_, joined({kTrace, {"Hsb::init 64 0 0", "syslog 5 HSB initialization failed\n"}}));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(OrvMain, touchesNothingWhenItIsToldOfADialogueThatThereIsNot) {
    for (const char* name : {"", "Required", "conforming ", "smtp"}) {
        const int status = run([&](MainSteps&, LoopbackSwitch&) { setenv("ORV_SMTP_DIALOGUE", name, 1); });

        EXPECT_EQ(status, 2) << name;
        const std::string line = std::string("ORV_SMTP_DIALOGUE=") + name + " is neither required nor conforming\n";
        EXPECT_EQ(std::exchange(steps_, {}), joined({{"tzset", "openlog orvApp 0 8"}, {"syslog 5 " + line}}));
        EXPECT_THAT(trace(), testing::IsEmpty());
    }
}

TEST_F(OrvMain, makesTheSameStepsWhicheverDialogueItIsToldOf) {
    for (const char* name : {"required", "conforming"}) {
        EXPECT_EQ(run([&](MainSteps&, LoopbackSwitch&) { setenv("ORV_SMTP_DIALOGUE", name, 1); }), 0) << name;
        EXPECT_EQ(std::exchange(steps_, {}), joined({kTrace, kPlatform, kServed, kEnd})) << name;
    }
}

TEST_F(OrvMain, goesOnWithoutNameService) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.failing = "Cns::init"; }), 0);

    EXPECT_EQ(steps_, joined({kTrace,
                              {"Hsb::init 64 0 0", "Cns::init 0", "syslog 5 CNS initialization failed\n", "Ens::init",
                               "Log_Event::open"},
                              kServed,
                              kEnd}));
}

TEST_F(OrvMain, goesOnWithoutEventService) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.failing = "Ens::init"; }), 0);

    EXPECT_EQ(steps_, joined({kTrace,
                              {"Hsb::init 64 0 0", "Cns::init 0", "Ens::init", "syslog 5 ENS initialization failed\n",
                               "Log_Event::open"},
                              kServed,
                              kEnd}));
}

TEST_F(OrvMain, goesOnWithoutEitherOfThem) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) {
                  steps.failing = "Cns::init";
                  steps.alsoFailing = "Ens::init";
              }),
              0);

    EXPECT_EQ(steps_, joined({kTrace,
                              {"Hsb::init 64 0 0", "Cns::init 0", "syslog 5 CNS initialization failed\n", "Ens::init",
                               "syslog 5 ENS initialization failed\n", "Log_Event::open"},
                              kServed,
                              kEnd}));
}

TEST_F(OrvMain, saysThatItsTraceHasNoKey) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.failing = "pthread_key_create"; }), 0);

    EXPECT_EQ(steps_, Steps({"tzset", "openlog orvApp 0 8", "pthread_key_create",
                             "syslog 5 Failed to initialize main thread logging key\n"}));
}

TEST_F(OrvMain, saysThatItsTraceHasNoMemory) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.noMemoryAfter = "pthread_key_create"; }), 0);

    EXPECT_EQ(steps_, Steps({"tzset", "openlog orvApp 0 8", "pthread_key_create",
                             "syslog 5 Failed to allocate main thread logging object\n"}));
}

TEST_F(OrvMain, saysThatItsTraceCannotBeSet) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.failing = "pthread_setspecific"; }), 0);

    EXPECT_EQ(steps_, joined({kTrace, {"syslog 5 Failed to set main thread specific logging reference\n"}}));
}

TEST_F(OrvMain, endsWithStatusZeroWithoutMemoryForTheEventLogsConnection) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.noMemoryAfter = "Ens::init"; }), 0);

    EXPECT_EQ(
        steps_,
        joined({kTrace, {"Hsb::init 64 0 0", "Cns::init 0", "Ens::init", "syslog 5 Log_Event allocation failed\n"}}));
}

TEST_F(OrvMain, endsWithStatusZeroWhenTheApplicationCannotBeAllocated) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.noMemoryAfter = "Log_Event::open"; }), 0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, {"syslog 5 OrvApp allocation failed\n"}}));
    EXPECT_TRUE(lastTrace().ends_with(" main createApplication: std::bad_alloc")) << lastTrace();
}

// Nor does anything name it any more.
TEST_F(OrvMain, endsWithStatusZeroWhenTheApplicationCannotBeBuilt) {
    root_.write("/ostrel/conf/orv/callHome/capture.seq", "123");

    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) {
                  static MainSteps* const all = &steps;
                  std::atexit([] { all->tell(orvApplication() == nullptr ? "no application" : "an application"); });
              }),
              0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, {"syslog 5 OrvApp allocation failed\n", "no application"}}));
    EXPECT_TRUE(
        lastTrace().ends_with(" main createApplication: Read Error for file /ostrel/conf/orv/callHome/capture.seq"))
        << lastTrace();
}

TEST_F(OrvMain, endsWithStatusZeroWhenTheApplicationsThreadsHaveNoQueues) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.failing = "pipe2"; }), 0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, {"syslog 5 OrvApp allocation failed\n"}}));
    EXPECT_TRUE(lastTrace().ends_with(" main createApplication: pipe create")) << lastTrace();
}

TEST_F(OrvMain, endsWithStatusOneWhenTheBusRefusesTheComponent) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.failing = "Hsb_Slot::insert"; }), 1);

    EXPECT_EQ(steps_,
              joined({kTrace,
                      kPlatform,
                      {"Hsb_Slot::insert", "app_log 15 8b000001 Unable to insert into the bus!!!!. Exiting..."}}));
    EXPECT_TRUE(lastTrace().ends_with(" OrvApp OrvApp: Unable to insert into the bus!!!!. Exiting...")) << lastTrace();
}

TEST_F(OrvMain, endsWithStatusOneWithoutMemoryForTheMonitorsClient) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.noMemoryAfter = "Hsb_Slot::insert"; }), 1);

    EXPECT_EQ(steps_,
              joined({kTrace,
                      kPlatform,
                      {"Hsb_Slot::insert", "switch_alarm 0 10050034 System resource error - contact technical support",
                       "switch_alarm 16 0 OrvApp - cannot allocate memory"}}));
    EXPECT_TRUE(lastTrace().ends_with(" OrvApp OrvApp: Failure to allocate cmon_client object")) << lastTrace();
}

TEST_F(OrvMain, endsByItselfWhateverStepFindsNoMemory) {
    for (const char* const step : {"openlog", "pthread_key_create", "pthread_setspecific", "Hsb::init", "Cns::init",
                                   "Ens::init", "Log_Event::open", "Hsb_Slot::insert", "Log_Event::close",
                                   "Ens::shutdown", "Cns::shutdown", "Hsb::shutdown"}) {
        const int status = run([step](MainSteps& steps, LoopbackSwitch&) { steps.noMemoryAfter = step; });

        EXPECT_TRUE(status == 0 || status == 1) << step << " " << status;
    }
}

TEST_F(OrvMain, takesALoopThatThrowsForOneThatFails) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.serve = []() -> int { throw std::bad_alloc(); }; }), 0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, kServed}));
}

TEST_F(OrvMain, exitsAtOnceWhenTheLoopFails) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) { steps.serve = [] { return -1; }; }), 0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, kServed}));
}

TEST_F(OrvMain, servesTheBusUntilItIsToldToEndAndKeepsItsComponent) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch& host) {
                  steps.serve = nullptr;
                  host.bus().observe([](const Hsb_Message& message) {
                      if (message.format() == MessageFormat::CMON && message.code() == CmonCode::CONF_READ_ACK) {
                          Dispatcher::instance()->schedule_timer(Timeval(0, 0), false, [] { std::raise(SIGTERM); });
                      }
                  });
              }),
              0);

    EXPECT_EQ(Steps(steps_.end() - 4, steps_.end()), kEnd);
    EXPECT_THAT(trace(), Contains(testing::EndsWith(" OrvCallHome readConfig: Entry")));
    // Kept: nobody deletes the component.
    EXPECT_THAT(trace(), testing::Not(Contains(testing::EndsWith("Application exiting..."))));
}

TEST_F(OrvMain, opensTheEventLogsConnectionThatExists) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) {
                  static Log_Event existing;
                  Log_Event::instance_m = &existing;
                  steps.serve = [] { return existing.isOpen() && Log_Event::instance_m == &existing ? 0 : -1; };
              }),
              0);

    EXPECT_EQ(steps_.back(), "Hsb::shutdown");
}

// Kept: a connection that has gone meanwhile is made anew, to be closed.
TEST_F(OrvMain, closesANewConnectionWhenItsOwnHasGone) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) {
                  static Log_Event* opened = nullptr;
                  steps.serve = [] {
                      opened = std::exchange(Log_Event::instance_m, nullptr);
                      return 0;
                  };
                  std::atexit([] {
                      const bool another = Log_Event::instance_m != nullptr && Log_Event::instance_m != opened;
                      std::_Exit(another && opened->isOpen() ? 77 : 78);
                  });
              }),
              77);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, kServed, kEnd}));
}

TEST_F(OrvMain, survivesABrokenPipe) {
    EXPECT_EQ(run([](MainSteps& steps, LoopbackSwitch&) {
                  std::signal(SIGPIPE, SIG_DFL);  // whatever the test's parent thinks of it
                  steps.serve = [] {
                      int ends[2];
                      if (pipe(ends) != 0) {
                          return -1;
                      }
                      Descriptor reading(ends[0]);
                      const Descriptor writing(ends[1]);
                      reading.reset();
                      return write(writing.get(), "x", 1) == -1 && errno == EPIPE ? 0 : -1;
                  };
              }),
              0);

    EXPECT_EQ(steps_, joined({kTrace, kPlatform, kServed, kEnd}));
}

struct JoiningStep {
    const char* name;
    std::uint16_t format;
    std::uint16_t code;
    unsigned which;  // among the messages of this code
    const char* text;
    const char* loss;  // beside it: what will not happen
};

class OrvMainJoining : public OrvMain, public testing::WithParamInterface<JoiningStep> {};

// A step of joining the bus that fails is told to syslog, and the next ones are made all the same.
TEST_P(OrvMainJoining, goesOnAfterAFailedStep) {
    const JoiningStep& failing = GetParam();
    EXPECT_EQ(run([&failing](MainSteps& steps, LoopbackSwitch& host) {
                  static unsigned seen = 0;
                  host.bus().refuse([&failing](const Hsb_Message& message) {
                      return message.format() == failing.format && message.code() == failing.code &&
                             seen++ == failing.which;
                  });
                  host.bus().observe([&steps](const Hsb_Message& message) {
                      steps.tell("sent " + std::to_string(message.format()) + "/" + std::to_string(message.code()));
                  });
              }),
              0);

    Steps expected{"sent 2/1", "sent 2/3", "sent 103/20", "sent 2/3"};
    const std::size_t position = failing.code == CnsCode::REGISTER ? 0
                                 : failing.code == DsCode::CONNECT ? 2
                                 : failing.which == 0              ? 1
                                                                   : 3;
    expected[position] = "syslog 5 " + std::string(failing.text) + "\n";
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(position) + 1,
                    "syslog 5 " + std::string(failing.loss) + "\n");
    Steps joining = steps_;
    joining.erase(joining.begin(), joining.begin() + 8);
    joining.resize(5);
    EXPECT_EQ(joining, expected);
}

constexpr char kNoConfiguration[] = "no configuration is read: nothing is mailed until the daemon is started again";

INSTANTIATE_TEST_SUITE_P(
    Steps, OrvMainJoining,
    testing::Values(
        JoiningStep{"registration", MessageFormat::CNS, CnsCode::REGISTER, 0, "orvApp Registration with CNS failed.",
                    "no request of management finds the daemon until it is started again"},
        JoiningStep{"eventServer", MessageFormat::CNS, CnsCode::LOOKUP, 0, "ENS server lookup failed!",
                    kNoConfiguration},
        JoiningStep{"store", MessageFormat::DS, DsCode::CONNECT, 0, "DS API init failed!", kNoConfiguration},
        JoiningStep{"management", MessageFormat::CNS, CnsCode::LOOKUP, 1, "SM lookup failed!", kNoConfiguration}),
    [](const auto& test) { return test.param.name; });

}  // namespace
