#include "Weather.h"

#include "Text.h"

#include <httplib.h>
#include <poll.h>

#include <algorithm>
#include <functional>
#include <string_view>
#include <thread>

namespace fs = std::filesystem;

namespace {

using httplib::DataSink;
using Framing = WeatherRule::Framing;

constexpr std::size_t blockSize = 64 * 1024;

// Hands a body on to the connection as far and as fast as a rule lets it.
class Outlet {
public:
    Outlet(const WeatherRule& theRule, DataSink& connection) : rule(theRule), sink(connection) {}

    // False when the body ends here.
    bool write(std::string_view bytes) {
        while (!bytes.empty()) {
            const std::uint64_t room = std::min<std::uint64_t>(bytes.size(), roomNow());
            if (room == 0 || !sink.write(bytes.data(), room)) {
                return false;
            }
            sent += room;
            bytes.remove_prefix(room);
            if (rule.bytesPerSecond) {
                std::this_thread::sleep_for(std::chrono::duration<double>(
                    static_cast<double>(room) / static_cast<double>(*rule.bytesPerSecond)));
            }
        }
        return true;
    }

    std::uint64_t bytesSent() const { return sent; }

private:
    std::uint64_t roomNow() const {
        const std::uint64_t end =
            std::min(rule.cutAt.value_or(UINT64_MAX), rule.stallAt.value_or(UINT64_MAX));
        // Ten times a second is smooth enough for a progress bar.
        const std::uint64_t drop =
            std::max<std::uint64_t>(1, rule.bytesPerSecond.value_or(UINT64_MAX) / 10);
        return std::min(end - std::min(end, sent), drop);
    }

    const WeatherRule& rule;
    DataSink& sink;
    std::uint64_t sent = 0;
};

// A body, whatever it is made of: `write` sends it and is true when all of it went.
struct Body {
    std::uint64_t size = 0;
    std::function<bool(Outlet&)> write;
};

bool writePieces(const std::vector<WeatherRule::Piece>& pieces, Outlet& outlet) {
    std::string block;
    for (const WeatherRule::Piece& piece : pieces) {
        for (std::uint64_t i = 0; i < piece.times; ++i) {
            block += piece.text;
            if (block.size() >= blockSize) {
                if (!outlet.write(block)) {
                    return false;
                }
                block.clear();
            }
        }
    }
    return outlet.write(block);
}

Body bodyOf(const std::vector<WeatherRule::Piece>& pieces) {
    Body body;
    for (const WeatherRule::Piece& piece : pieces) {
        body.size += piece.text.size() * piece.times;
    }
    body.write = [&pieces](Outlet& outlet) { return writePieces(pieces, outlet); };
    return body;
}

// The body of the usual answer.
Body bodyOf(httplib::Response& response) {
    if (!response.content_provider_) {
        return {response.body.size(),
                [text = std::move(response.body)](Outlet& outlet) { return outlet.write(text); }};
    }
    const std::uint64_t size = response.content_length_;
    return {size, [size, provide = std::move(response.content_provider_)](Outlet& outlet) {
                std::uint64_t offset = 0;
                DataSink tap;
                tap.write = [&](const char* data, std::size_t length) {
                    offset += length;
                    return outlet.write({data, length});
                };
                while (offset < size) {
                    if (!provide(offset, size - offset, tap)) {
                        return false;
                    }
                }
                return true;
            }};
}

// The descriptor of a request's connection, or -1. The library does not hand it out; the far end
// tells it from the others.
int connectionOf(const httplib::Request& request) {
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        sockaddr_storage peer{};
        socklen_t length = sizeof peer;
        char host[NI_MAXHOST];
        char port[NI_MAXSERV];
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
            getnameinfo(reinterpret_cast<sockaddr*>(&peer), length, host, sizeof host, port,
                        sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) == 0 &&
            request.remote_addr == host && std::to_string(request.remote_port) == port) {
            return descriptor;
        }
    }
    return -1;
}

// Keeps the connection open and silent until the client goes. The library would take the goodbye
// of a TLS client for a sign of life.
void stall(int connection) {
    pollfd client{connection, POLLRDHUP, 0};
    poll(&client, 1, -1);
}

// Sends the whole answer's body in one call. False closes the connection.
bool send(const WeatherRule& rule, const Body& body, DataSink& sink, int connection,
          std::uint64_t& bytesSent) {
    Outlet outlet(rule, sink);
    const bool isWhole = body.write(outlet);
    bytesSent = outlet.bytesSent();
    if (rule.stallAt && (isWhole || outlet.bytesSent() == *rule.stallAt)) {
        stall(connection);
    }
    if (!isWhole || rule.stallAt || rule.cutAt || rule.lengthOffBy > 0) {
        return false;
    }
    if (rule.framing != Framing::Length) {
        sink.done();
    }
    return true;
}

} // namespace

bool WeatherRule::shapesBody() const {
    return body || framing != Framing::Length || lengthOffBy != 0 || cutAt || stallAt ||
           bytesPerSecond;
}

void applyWeather(const WeatherRule& rule, const httplib::Request& request,
                  httplib::Response& response, std::uint64_t& bytesSent) {
    std::this_thread::sleep_for(rule.delay);
    if (rule.hangsUp) {
        shutdown(connectionOf(request), SHUT_RDWR);
        response = httplib::Response();
        response.status = 0; // for the log; nothing of it goes out
        return;
    }
    for (const std::string& name : rule.without) {
        response.headers.erase(name);
    }
    for (const auto& [name, value] : rule.headers) {
        response.headers.erase(name);
        response.set_header(name, value);
    }
    if (rule.redirect) {
        response.body.clear();
        response.content_provider_ = nullptr;
        response.content_length_ = 0;
        response.set_redirect(replaceAll(*rule.redirect, "@PATH@", request.target));
    } else if (rule.body) {
        response.status = 200;
    }
    response.status = rule.status.value_or(response.status);
    if (!rule.shapesBody()) {
        return;
    }

    const auto body = std::make_shared<Body>(rule.body ? bodyOf(*rule.body) : bodyOf(response));
    const auto provide = [&rule, &bytesSent, connection = connectionOf(request),
                          body](std::size_t, DataSink& sink) {
        return send(rule, *body, sink, connection, bytesSent);
    };
    const std::string type = response.get_header_value("Content-Type");
    response.headers.erase("Content-Type");
    response.body.clear();
    if (rule.framing == Framing::Chunked) {
        response.set_chunked_content_provider(type, provide);
    } else if (rule.framing == Framing::UntilClose) {
        response.set_content_provider(type, provide);
    } else {
        const auto length = static_cast<std::int64_t>(body->size) + rule.lengthOffBy;
        if (length > 0) {
            response.set_content_provider(
                static_cast<std::size_t>(length), type,
                [provide](std::size_t offset, std::size_t, DataSink& sink) {
                    return provide(offset, sink);
                });
        }
    }
}
