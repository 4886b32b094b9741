#include "switchctl/serve/PageServer.h"

#include "Guarding_Mutex.h"
#include "switchctl/serve/BoundedServer.h"
#include "switchctl/serve/PageFiles.h"
#include "switchctl/text/Errors.h"
#include "switchctl/text/Json.h"
#include "switchctl/text/Text.h"

#include <strings.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

namespace {

using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr std::size_t LARGEST_BODY = 4096;
constexpr milliseconds SHEET_PATIENCE{1500};
constexpr std::chrono::seconds CHANGE_PATIENCE{25};
constexpr std::chrono::seconds LEAST_BETWEEN_PROBES{10};
constexpr std::chrono::seconds PREVIEW_AGE{30};
// Of an event that is made up.
constexpr const char* EXAMPLE_NUMBER = "0x00010002";

constexpr const char* JSON = "application/json";
constexpr const char* TOKEN_HEADER = "X-CallHome-Token";
// A page of another origin cannot send this header without asking first, and is refused then.
constexpr const char* OWN_HEADER = "X-CallHome";

constexpr const char* POLICY =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

void fail(Response& response, int status, const std::string& reason) {
    response.status = status;
    response.set_content(Json().set("error", "refused").set("reason", reason).dump() + "\n", JSON);
}

// "text" or "text" in any case of letters.
bool isSameName(const std::string& one, const std::string& other) {
    return one.size() == other.size() && strcasecmp(one.c_str(), other.c_str()) == 0;
}

// As plain as it came: longer words cost no more time.
bool isSameSecret(const std::string& one, const std::string& other) {
    unsigned different = one.size() == other.size() ? 0 : 1;
    for (std::size_t i = 0; i < one.size() && i < other.size(); ++i) {
        different |= static_cast<unsigned>(static_cast<unsigned char>(one[i]) ^ static_cast<unsigned char>(other[i]));
    }
    return different == 0;
}

// A start after an end finds the address free at once; two at a time do not share it.
void socketOptions(socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

PageAddress PageAddress::parse(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const bool onlyPort = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    std::string host = onlyPort ? "127.0.0.1" : text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    const auto port = Text::number(onlyPort ? text : text.substr(colon == std::string::npos ? text.size() : colon + 1),
                                   0, UINT16_MAX);
    if (host != "::1" && host != "localhost" && !(host.starts_with("127.") && host.find(':') == std::string::npos)) {
        throw UsageError("\"" + text +
                         "\" is not an address of this machine alone; write 127.0.0.1:8025 or [::1]:8025, and let a "
                         "web server of yours stand in front of it for others");
    }
    if (!port) {
        throw UsageError("\"" + text + "\" has no port from 0 to 65535; write 127.0.0.1:8025");
    }
    return {host, static_cast<std::uint16_t>(*port)};
}

std::string PageAddress::text() const {
    return (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + std::to_string(port);
}

class PageServer::Impl {
public:
    Impl(Desk& desk, PageAddress address, std::string token)
        : desk_(desk), address_(std::move(address)), token_(std::move(token)) {
        bound();
        files();
        sheets();
        changes();
        lookAhead();
    }

    PageAddress bind() {
        errno = 0;
        const int port = address_.port == 0                                   ? server_.bind_to_any_port(address_.host)
                         : server_.bind_to_port(address_.host, address_.port) ? address_.port
                                                                              : -1;
        if (port < 0) {
            throw Refused(address_.text() + " cannot be listened at: " +
                          (errno == 0 ? "somebody else may have it" : std::strerror(errno)));
        }
        address_.port = static_cast<std::uint16_t>(port);
        server_.acceptMany();
        return address_;
    }
    void run() ORV_EXCLUDES(mutex_);
    void stop() ORV_EXCLUDES(mutex_);

private:
    void bound();
    void files();
    void sheets();
    void changes();
    void sheet(const char* path, const char* name, const char* type);
    void status(Response& response);
    void health(Response& response);
    void ask(const Request& request, Response& response);
    void lookAhead();
    void preview(const Request& request, Response& response, const Desk::Words& line);
    void change(const Request& request, Response& response, const Desk::Words& line);

    bool isOurs(const std::string& host) const;
    bool mayAct(const Request& request, Response& response) const;
    bool mayChange(const Request& request, Response& response) const;

    Desk& desk_;
    PageAddress address_;  // as it is from bind() on, before anybody is served
    const std::string token_;
    BoundedServer server_;
    Guarding_Mutex mutex_;
    bool begun_ ORV_GUARDED_BY(mutex_) = false;
    bool stopped_ ORV_GUARDED_BY(mutex_) = false;
    std::atomic<bool> ended_ = false;
};

void PageServer::Impl::run() {
    {
        const Guarding_Lock lock(mutex_);
        if (stopped_) {
            return;
        }
        begun_ = true;
    }
    server_.listen_after_bind();
    ended_ = true;
}

// The library forgets a stop that comes before it has begun to listen.
void PageServer::Impl::stop() {
    {
        const Guarding_Lock lock(mutex_);
        stopped_ = true;
        if (!begun_) {
            return;
        }
    }
    while (!server_.is_running() && !ended_) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    server_.stop();
}

// What a stranger can make it hold.
void PageServer::Impl::bound() {
    server_.set_payload_max_length(LARGEST_BODY);
    server_.set_socket_options(socketOptions);
    server_.set_default_headers({{"Content-Security-Policy", POLICY},
                                 {"X-Content-Type-Options", "nosniff"},
                                 {"Referrer-Policy", "no-referrer"},
                                 {"Cross-Origin-Resource-Policy", "same-origin"},
                                 {"Cross-Origin-Opener-Policy", "same-origin"},
                                 {"Cache-Control", "no-store"}});
    server_.set_pre_routing_handler([this](const Request& request, Response& response) {
        if (isOurs(request.get_header_value("Host"))) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        fail(response, 421, "this page is that of " + address_.text() + ", not of the name that was asked for");
        return httplib::Server::HandlerResponse::Handled;
    });
    server_.set_error_handler(httplib::Server::Handler([](const Request&, Response& response) {
        if (response.body.empty()) {
            fail(response, response.status, response.status == 404 ? "there is nothing here" : "not understood");
        }
    }));
}

bool PageServer::Impl::isOurs(const std::string& host) const {
    const std::string port = ":" + std::to_string(address_.port);
    const std::array names = {address_.text(), "localhost" + port, "127.0.0.1" + port, "[::1]" + port};
    return std::ranges::any_of(names, [&](const std::string& name) { return isSameName(name, host); });
}

void PageServer::Impl::files() {
    for (const PageFile& file : pageFiles()) {
        server_.Get(file.path, [&file](const Request&, Response& response) {
            response.set_content(file.text.data(), file.text.size(), file.type);
        });
    }
}

void PageServer::Impl::sheet(const char* path, const char* name, const char* type) {
    server_.Get(path, [this, name, type](const Request&, Response& response) {
        const auto sheet = desk_.read(name, SHEET_PATIENCE);
        if (!sheet || sheet->text.empty()) {
            return fail(response, 503, "nothing is known yet: the switch has not answered");
        }
        response.set_content(sheet->text, type);
    });
}

void PageServer::Impl::sheets() {
    sheet("/api/queue", "queue", JSON);
    sheet("/api/log", "log", JSON);
    sheet("/api/profiles", "profiles", JSON);
    sheet("/api/day", "day", JSON);
    sheet("/metrics", "metrics", "application/openmetrics-text; version=1.0.0; charset=utf-8");
    server_.Get("/api/status", [this](const Request&, Response& response) { status(response); });
    server_.Get("/healthz", [this](const Request&, Response& response) { health(response); });
}

// What is known without orvApp, and beside it what orvApp said when it was asked last.
void PageServer::Impl::status(Response& response) {
    const auto passive = desk_.read("status", SHEET_PATIENCE);
    const auto asked = desk_.read("asked", milliseconds(0));
    const auto age = desk_.age("asked");
    const auto part = [](const std::optional<Desk::Result>& sheet) {
        return sheet && sheet->text.starts_with('{') ? sheet->text.substr(0, sheet->text.find('\n')) : "null";
    };
    response.set_content("{\"status\":" + part(passive) + ",\"asked\":" + part(asked) +
                             ",\"askedSecondsAgo\":" + (age ? std::to_string(age->count() / 1000) : "null") +
                             ",\"changes\":" + (token_.empty() ? "false" : "true") + "}\n",
                         JSON);
}

// For a monitor: 200 while mails leave.
void PageServer::Impl::health(Response& response) {
    const auto sheet = desk_.read("status", SHEET_PATIENCE);
    const bool answered = sheet && sheet->text.starts_with("{\"canSend\":");
    const bool can = answered && sheet->text.starts_with("{\"canSend\":true");
    response.status = can ? 200 : 503;
    response.set_content(can ? "can send\n" : answered ? "cannot send\n" : "not known\n", "text/plain");
}

void PageServer::Impl::changes() {
    server_.Post("/api/ask", [this](const Request& request, Response& response) { ask(request, response); });
    server_.Post("/api/try", [this](const Request& request, Response& response) {
        change(request, response, {"--json", "--timeout", "20", "queue", "try"});
    });
    server_.Post("/api/test", [this](const Request& request, Response& response) {
        change(request, response,
               {"--json", "--timeout", "20", "callhome", "test", "--", request.get_param_value("profile")});
    });
}

// Asking orvApp changes nothing, but its traces: not more often than a person looks.
void PageServer::Impl::ask(const Request& request, Response& response) {
    if (mayAct(request, response)) {
        desk_.renew("asked", LEAST_BETWEEN_PROBES, CHANGE_PATIENCE);
        status(response);
    }
}

// What would be mailed, and when a capture runs: nothing is changed, and the daemon is not asked.
void PageServer::Impl::lookAhead() {
    server_.Post("/api/preview", [this](const Request& request, Response& response) {
        preview(request, response,
                {"--json", "--timeout", "5", "preview", "event", "--type", request.get_param_value("type"), "--number",
                 EXAMPLE_NUMBER, "--", request.get_param_value("text")});
    });
    server_.Post("/api/captures", [this](const Request& request, Response& response) {
        preview(request, response,
                {"--json", "--timeout", "5", "preview", "capture", "--", request.get_param_value("profile")});
    });
}

// Browsers that ask for the same get the same.
void PageServer::Impl::preview(const Request& request, Response& response, const Desk::Words& line) {
    if (!mayAct(request, response)) {
        return;
    }
    const auto result = desk_.recall(line, PREVIEW_AGE, CHANGE_PATIENCE);
    if (!result) {
        return fail(response, 503, "not done yet: others are before it; try again");
    }
    response.set_content(result->text, JSON);
}

void PageServer::Impl::change(const Request& request, Response& response, const Desk::Words& line) {
    if (!mayAct(request, response) || !mayChange(request, response)) {
        return;
    }
    const auto result = desk_.ask(line, CHANGE_PATIENCE);
    if (!result) {
        return fail(response, 503, "not done yet: others are before it, or it takes its time; look at the page");
    }
    response.set_content(result->text, JSON);
}

bool PageServer::Impl::mayAct(const Request& request, Response& response) const {
    const std::string origin = request.get_header_value("Origin");
    if (!request.has_header(OWN_HEADER) ||
        (!origin.empty() && !isOurs(origin.starts_with("http://") ? origin.substr(7) : ""))) {
        fail(response, 403, "only the page itself may do this");
        return false;
    }
    return true;
}

bool PageServer::Impl::mayChange(const Request& request, Response& response) const {
    if (token_.empty()) {
        fail(response, 403, "this page only shows; switchctl serve --allow-changes lets it change things");
        return false;
    }
    if (!isSameSecret(token_, request.get_header_value(TOKEN_HEADER))) {
        fail(response, 403, "this page's token is not that of this run; open the address that switchctl serve printed");
        return false;
    }
    return true;
}

PageServer::PageServer(Desk& desk, PageAddress address, std::string token)
    : impl_(std::make_unique<Impl>(desk, std::move(address), std::move(token))) {
}

PageServer::~PageServer() = default;

PageAddress PageServer::bind() {
    return impl_->bind();
}

void PageServer::run() {
    impl_->run();
}

void PageServer::stop() {
    impl_->stop();
}

std::string PageServer::newToken() {
    std::array<std::uint8_t, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw Refused("no token for changes can be had: " + std::string(std::strerror(errno)));
    }
    return Text::hex(bytes);
}
