#include "VendorServer.h"

#include "PackageFile.h"
#include "Text.h"

#include <httplib.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace {

// A client that saves to a slow disk may leave its connection full for a while.
constexpr time_t writeTimeoutSeconds = 60;

// The sign-in form holds four short texts.
constexpr std::size_t largestRequestBody = 64 * 1024;

const char* const packageType = "application/octet-stream";
const char* const textType = "text/plain; charset=utf-8";

// Body bytes of a package that went out for the request that this thread answers. Answering and
// logging a request happen on one thread.
thread_local std::uint64_t packageBytesSent = 0;

std::string formField(const httplib::Request& request, const std::string& name) {
    return request.get_file_value(name).content;
}

std::optional<std::string> readWhole(const fs::path& file) {
    std::ifstream input(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(input), {}};
    if (!input.is_open() || input.bad()) {
        return std::nullopt;
    }
    return text;
}

// A path that climbs out of the packages directory names nothing.
bool staysBelow(const fs::path& relative) {
    for (const fs::path& component : relative) {
        if (component == "..") {
            return false;
        }
    }
    return relative.is_relative();
}

// One line a request. The form is left out: it carries the credentials.
void logRequest(const httplib::Request& request, const httplib::Response& response) {
    std::string path = request.path.empty() ? "-" : request.path;
    for (char& c : path) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
            c = '?';
        }
    }
    const std::string method = request.method.empty() ? "-" : request.method;
    const std::uint64_t textBytes = request.method == "HEAD" ? 0 : response.body.size();
    const std::uint64_t bytes = textBytes + std::exchange(packageBytesSent, 0);
    std::cerr << method + ' ' + path + ' ' + std::to_string(response.status) + ' ' +
                     std::to_string(bytes) + '\n';
}

// Connections that are idle, stalled or slow must not hold up another one. The process ends without
// waiting for them.
class ThreadPerConnection : public httplib::TaskQueue {
public:
    void enqueue(std::function<void()> task) override { std::thread(std::move(task)).detach(); }
    void shutdown() override {}
};

void exclusivePort(socket_t socket) {
    // The library would let two servers share a port; a second one has to fail instead.
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

} // namespace

VendorServer::VendorServer(Settings withSettings, Accounts withAccounts,
                           std::unique_ptr<Weather> withWeather)
    : settings(std::move(withSettings)), accounts(std::move(withAccounts)),
      weather(std::move(withWeather)) {}

VendorServer::~VendorServer() = default;

std::string VendorServer::bind() {
    if (weather && weather->needsTls() && !usesTls()) {
        return "this weather needs --cert and --key";
    }
    if (usesTls()) {
        auto tls = std::make_unique<httplib::SSLServer>(settings.certificate.c_str(),
                                                        settings.key.c_str());
        // The library reads both files and leaves open whether they belong together.
        if (!tls->is_valid() || SSL_CTX_check_private_key(tls->ssl_context()) != 1) {
            return "cannot use the certificate " + settings.certificate.string() +
                   " with the key " + settings.key.string();
        }
        server = std::move(tls);
    } else {
        server = std::make_unique<httplib::Server>();
    }
    addRoutes();
    server->set_socket_options(exclusivePort);
    server->set_tcp_nodelay(true);
    server->set_write_timeout(writeTimeoutSeconds);
    server->set_payload_max_length(largestRequestBody);
    server->new_task_queue = [] { return new ThreadPerConnection; };
    if (weather && weather->endsConnections()) {
        server->set_keep_alive_max_count(1);
    }

    boundPort = settings.port;
    if (settings.port == 0) {
        boundPort = server->bind_to_any_port(settings.host);
    } else if (!server->bind_to_port(settings.host, settings.port)) {
        boundPort = -1;
    }
    if (boundPort <= 0) {
        const std::string where =
            settings.port == 0 ? "a free port" : "port " + std::to_string(settings.port);
        return "cannot listen on " + where + " of " + settings.host +
               ": in use, not permitted or no address of this machine";
    }
    if (weather) {
        weather->setServer(address());
    }
    return {};
}

std::string VendorServer::address() const {
    const bool isIpv6 = settings.host.find(':') != std::string::npos;
    const std::string host = isIpv6 ? '[' + settings.host + ']' : settings.host;
    return (usesTls() ? "https://" : "http://") + host + ':' + std::to_string(boundPort);
}

void VendorServer::serve() {
    server->listen_after_bind();
}

void VendorServer::addRoutes() {
    using httplib::Request;
    using httplib::Response;
    using Answer = void (VendorServer::*)(const Request&, Response&) const;
    const auto inWeather = [this](Answer answer) {
        return [this, answer](const Request& request, Response& response) {
            const WeatherRule* rule = weather ? weather->next(request.path) : nullptr;
            (this->*answer)(request, response);
            if (rule) {
                applyWeather(*rule, request, response, packageBytesSent);
            }
        };
    };
    server->Post("/forum/currentproducts\\.php", inWeather(&VendorServer::answerSignIn));
    server->Get("/packages/.+", inWeather(&VendorServer::answerPackage));
    server->Get(".*", inWeather(&VendorServer::answerNothing));
    server->Post(".*", inWeather(&VendorServer::answerNothing));
    server->set_logger(logRequest);
}

void VendorServer::answerNothing(const httplib::Request& /*request*/,
                                 httplib::Response& response) const {
    response.status = 404;
    response.set_content("There is nothing here.\n", textType);
}

void VendorServer::answerSignIn(const httplib::Request& request,
                                httplib::Response& response) const {
    std::optional<std::string> refusal;
    if (formField(request, "platform") != "osx") {
        refusal = "There are no products for this platform.";
    } else if (formField(request, "community") != "1") {
        refusal = "Only the community edition is offered here.";
    } else {
        // The installer writes "&amp;" for "&" in the user id, and only there.
        const std::string user = replaceAll(formField(request, "username"), "&amp;", "&");
        refusal = accounts.refusal(user, formField(request, "userpass"));
    }
    if (refusal) {
        response.set_header("Validation", "Error " + *refusal);
        response.set_content(*refusal + '\n', textType);
        return;
    }
    // Read anew for each request, so that the manifest can be edited while the server runs.
    std::optional<std::string> manifest = readWhole(settings.manifest);
    if (!manifest) {
        std::cerr << "cannot read the manifest " + settings.manifest.string() + '\n';
        response.status = 500;
        response.set_content("The manifest cannot be read.\n", textType);
        return;
    }
    response.set_header("Validation", "Approved");
    response.set_content(replaceAll(std::move(*manifest), "@SERVER@", address()),
                         "application/xml");
}

void VendorServer::answerPackage(const httplib::Request& request,
                                 httplib::Response& response) const {
    const fs::path relative = request.path.substr(std::string_view("/packages/").size());
    std::shared_ptr<PackageFile> package;
    if (staysBelow(relative)) {
        package = PackageFile::open(settings.packages / relative);
    }
    if (!package) {
        response.status = 404;
        response.set_content("There is no such package.\n", textType);
        return;
    }
    if (package->size() == 0) {
        response.set_content("", packageType);
        return;
    }
    // The library takes the ends of a range as they come; -1 is a start counted from the end.
    const auto size = static_cast<ssize_t>(package->size());
    for (const auto& [first, last] : request.ranges) {
        if (first >= size || (first >= 0 && last >= size)) {
            response.status = 416;
            response.set_header("Content-Range", "bytes */" + std::to_string(size));
            return;
        }
    }
    response.set_content_provider(
        package->size(), packageType,
        [package](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            const std::string_view piece = package->read(offset, length);
            if (piece.empty() || !sink.write(piece.data(), piece.size())) {
                return false;
            }
            packageBytesSent += piece.size();
            return true;
        });
}
