#include "testing/campaign/World.h"

#include "Descriptor.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <sstream>

namespace {

// A life needs far less than a second; what takes longer waits for something that never comes.
constexpr std::chrono::seconds kLongestLife(30);

void keepErrors(const TempRoot& root) {
    const int file = ::open(root.at("/stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || ::dup2(file, STDERR_FILENO) < 0) {
        ::_exit(kNoSwitch);
    }
}

// The child's side; never returns.
[[noreturn]] void runLife(Board& board, TempRoot& root, std::uint16_t port, const Life::Settings& settings,
                          const std::function<void(Life&)>& body) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // no life without its world
    keepErrors(root);
    std::string problem = "cannot make a switch";
    int end = kNoSwitch;
    try {
        CallFaults::use(&board.faults);
        MemoryFaults::use(&board.memory);
        // Never destroyed: nothing is said to anybody at its end.
        Life& life = *new Life(board, root, port, settings);
        end = kLoopEnded;
        body(life);
        life.end(kPaused);
    } catch (const std::exception& exception) {
        problem = exception.what();
    } catch (...) {
        problem = "something was thrown";
    }
    std::snprintf(board.complaint.data(), board.complaint.size(), "%s", problem.c_str());
    ::_exit(end);
}

LifeOutcome outcomeOf(int status, bool hung) {
    LifeOutcome outcome;
    if (hung) {
        outcome.how = LifeOutcome::kHung;
    } else if (WIFSIGNALED(status)) {
        outcome.code = WTERMSIG(status);
        outcome.how = outcome.code == SIGKILL   ? LifeOutcome::kKilled
                      : outcome.code == SIGABRT ? LifeOutcome::kAborted
                                                : LifeOutcome::kBroken;
    } else {
        outcome.code = WEXITSTATUS(status);
        const bool known = outcome.code >= kMailedAll && outcome.code <= kIncomplete;
        outcome.how = known ? LifeOutcome::kFinished : outcome.code <= 1 ? LifeOutcome::kExited : LifeOutcome::kBroken;
    }
    return outcome;
}

constexpr char kDuplicate[] = "------------    Message is a duplicate";

bool isDated(const std::string& line) {
    return line.starts_with("Date: ") || line.starts_with("Time:") || line.starts_with("DuplicateTime:") ||
           line.starts_with("ID:");
}

// A mail's text with its times left out and every number put down as "#".
std::string formOf(const std::string& text) {
    std::istringstream lines(text);
    std::string form;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kDuplicate)) {
            line = kDuplicate;  // how many were counted depends on the moment
        }
        if (isDated(line)) {
            form += line.substr(0, line.find(':')) + "\n";
            continue;
        }
        for (const char character : line) {
            const bool digit = std::isdigit(static_cast<unsigned char>(character)) != 0;
            if (!digit || form.empty() || form.back() != '#') {
                form += digit ? '#' : character;
            }
        }
        form += "\n";
    }
    return form;
}

bool isCapture(const std::string& mail) {
    return mail.find("-CronCapture") != std::string::npos;
}

}  // namespace

std::string LifeOutcome::text() const {
    static constexpr const char* kHow[] = {"finished", "exited with status", "was killed",
                                           "aborted",  "broke down",         "hung"};
    static constexpr const char* kEnds[] = {"all mailed",     "paused",           "deaf",
                                            "its loop ended", "without a switch", "incomplete"};
    return how == kFinished ? std::string("finished: ") + kEnds[code - kMailedAll]
                            : std::string(kHow[how]) + " " + std::to_string(code);
}

LifeOutcome World::live(const Life::Settings& settings, const std::function<void(Life&)>& body) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe2");
    }
    Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    board_->complaint[0] = '\0';
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("fork");
    }
    if (child == 0) {
        runLife(*board_, root_, host_.port(), settings, body);
    }
    writing.reset();
    const bool hung = !host_.serveUntilClosed(reading.get(), kLongestLife);
    if (hung) {
        ::kill(child, SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    board_->watch(false);
    LifeOutcome outcome = outcomeOf(status, hung);
    outcome.errors = root_.read("/stderr");
    return outcome;
}

std::string World::judgeCounts(const Life::Settings& settings, unsigned mostExcess) const {
    std::string problems;
    unsigned excess = 0;
    for (unsigned event = 0; event < Board::kEvents; ++event) {
        for (unsigned to = 0; to < (settings.twoRecipients ? 2u : 1u); ++to) {
            const unsigned mails = board_->mails[event][to];
            excess += mails > 1 ? mails - 1 : 0;
            if (mails == 0 && board_->accepted[event]) {
                problems += "event " + std::to_string(event) + " never came to " + campaignRecipient(to) + "; ";
            }
        }
    }
    if (excess > mostExcess) {
        problems += std::to_string(excess) + " mails came too often; ";
    }
    return problems;
}

std::string World::traces() const {
    constexpr std::size_t kMost = 60;
    std::string text;
    for (const char* const logger : {"orv.out.Main", "orv.out.SMTPClient"}) {
        const std::vector<std::string> lines = root_.trace(logger);
        text += std::string("--- ") + logger + "\n";
        for (std::size_t i = lines.size() - std::min(kMost, lines.size()); i < lines.size(); ++i) {
            text += lines[i] + "\n";
        }
    }
    return text;
}

std::set<std::string> World::forms() const {
    std::set<std::string> forms;
    for (const ScriptedMail& mail : host_.mails()) {
        if (!isCapture(mail.text)) {
            forms.insert(formOf(mail.text));
        }
    }
    return forms;
}
