#pragma once

#include "Accounts.h"
#include "Weather.h"

#include <filesystem>
#include <memory>
#include <string>

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

/// The vendor's web server on this machine: it signs accounts in, hands out the manifest of
/// products and serves their packages, over HTTP or, with a certificate, over HTTPS.
class VendorServer {
public:
    struct Settings {
        std::string host = "127.0.0.1";
        int port = 0; // 0: any free one
        std::filesystem::path manifest;
        std::filesystem::path packages;
        std::filesystem::path certificate; // PEM; empty: no TLS
        std::filesystem::path key;         // PEM; empty: no TLS
    };

    /// Without weather, which is null then, the server behaves.
    VendorServer(Settings withSettings, Accounts withAccounts,
                 std::unique_ptr<Weather> withWeather);
    ~VendorServer();

    /// Takes the port: from here on a client can connect and is answered once `serve` runs. Returns
    /// an empty text, or why the server cannot start.
    std::string bind();

    /// Scheme, host and port as a client writes them, e.g. "http://127.0.0.1:40123"; valid after
    /// `bind`.
    std::string address() const;

    /// Answers requests and does not return as long as the port can be listened on.
    void serve();

private:
    void addRoutes();
    void answerSignIn(const httplib::Request& request, httplib::Response& response) const;
    void answerPackage(const httplib::Request& request, httplib::Response& response) const;
    void answerNothing(const httplib::Request& request, httplib::Response& response) const;

    bool usesTls() const { return !settings.certificate.empty(); }

    Settings settings;
    Accounts accounts;
    std::unique_ptr<Weather> weather;
    int boundPort = 0;
    std::unique_ptr<httplib::Server> server;
};
