#include "switchctl/queue/ComposedMail.h"

#include "base/OrvPaths.h"
#include "host_root.h"
#include "mesg/OrvCHMesg.h"
#include "platform/posix/HostRoot.h"
#include "smtp/OrvMailBuffer.h"
#include "smtp/OrvMailComposer.h"
#include "switchctl/text/Errors.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace {

namespace fs = std::filesystem;

// A file tree of this command's own with copies of a capture's attachments: the composer leaves a copy of each such
// mail below "/tmp", which belongs to the daemon on the switch.
class PrivateTree {
public:
    explicit PrivateTree(const CronCaptureData& capture) : former_(host_root()) {
        std::string pattern = (fs::temp_directory_path() / "switchctl-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw Refused("no directory can be made for the mail's attachments: " + std::string(std::strerror(errno)));
        }
        path_ = pattern;
        std::error_code ignored;  // an attachment that is not there is explained in the mail
        fs::create_directories(path_ + kOrvAttachmentsDirectory, ignored);
        for (const std::string& name : capture.Attachments) {
            const std::string staged = capture.stagedPath(name);
            const bool plain = fs::symlink_status(former_ + staged, ignored).type() == fs::file_type::regular;
            if (plain && name.find('/') == std::string::npos) {
                fs::copy_file(former_ + staged, path_ + staged, ignored);
            }
        }
        setHostRoot(path_);
    }
    ~PrivateTree() {
        setHostRoot(former_);
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    PrivateTree(const PrivateTree&) = delete;
    PrivateTree& operator=(const PrivateTree&) = delete;

private:
    const std::string former_;
    std::string path_;
};

// The one that is tried first.
std::string firstChoice(const OrvIdentity& identity) {
    if (identity.DNSClientEnable && !identity.Hostname.empty()) {
        return identity.Hostname;
    }
    return identity.IPv4Address.empty() ? identity.IPv6Address : identity.IPv4Address;
}

}  // namespace

MailMaker::MailMaker(const std::map<std::string, std::string>& attributes, std::string presentedAs) {
    std::vector<DsEntry> entries;
    for (const std::string& key : orvIdentityKeys()) {
        if (const auto found = attributes.find(key); found != attributes.end()) {
            entries.push_back({key, dsClient::TYPE_STRING, found->second});
        }
    }
    const std::vector<std::int32_t> statuses(entries.size(), 0);
    static_cast<void>(identity_.processConfigBulk(entries, statuses));
    presentedAs_ = presentedAs.empty() ? firstChoice(identity_.current()) : std::move(presentedAs);
}

std::string MailMaker::compose(const OrvCHMesg& message, const OrvCHEnvelope& envelope) const {
    const auto own = message.cronCapture() != nullptr ? std::make_unique<PrivateTree>(*message.cronCapture()) : nullptr;
    std::string text;
    if (OrvMailComposer(identity_).compose(message, envelope, presentedAs_, text) < 0) {
        throw Refused("it is neither an event nor a capture: there is no mail of it");
    }
    return text + kOrvLineEnd;  // in front of the line that ends it
}
