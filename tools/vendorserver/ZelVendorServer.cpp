#include "vendorserver/ZelVendorServer.h"

#include "vendorserver/ZelAnswer.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QHostInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QUrl>

namespace {

constexpr qint64 largestBlock = 64 * 1024;
constexpr char text[] = "text/plain; charset=utf-8";

// What a rule may say. A key that is not here is a slip of the pen.
const QHash<QString, QJsonValue::Type> ruleKeys{
    {"path", QJsonValue::String},
    {"first", QJsonValue::Double},
    {"delay_ms", QJsonValue::Double},
    {"hang_up", QJsonValue::Bool},
    {"status", QJsonValue::Double},
    {"redirect", QJsonValue::String},
    {"headers", QJsonValue::Object},
    {"without", QJsonValue::Array},
    {"body", QJsonValue::Undefined},
    {"deflated", QJsonValue::Bool},
    {"framing", QJsonValue::String},
    {"length_off_by", QJsonValue::Double},
    {"cut_at", QJsonValue::Double},
    {"stall_at", QJsonValue::Double},
    {"bytes_per_second", QJsonValue::Double},
};

bool readWhole(const QString& path, QByteArray& contents) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return false;
    contents = file.readAll();
    return true;
}

QString faultOf(const QJsonObject& rule) {
    if (!rule.value("path").toString().startsWith('/'))
        return "the rule has no path that begins with a slash";
    for (auto it = rule.begin(); it != rule.end(); ++it) {
        const QJsonValue::Type type = ruleKeys.value(it.key(), QJsonValue::Null);
        if (type == QJsonValue::Null)
            return '"' + it.key() + "\" means nothing here";
        if (type != QJsonValue::Undefined && it->type() != type)
            return it.key() + " cannot be that";
    }
    if (!QStringList{"length", "chunked", "until-close"}.contains(
            rule.value("framing").toString("length")))
        return R"(framing has to be "length", "chunked" or "until-close")";
    return {};
}

} // namespace

QString ZelVendorServer::start(const QStringList& arguments) {
    QCommandLineParser options;
    options.setApplicationDescription(
        "The vendor's server on this machine: it signs accounts in, hands out the manifest and "
        "serves the packages. When it is ready it prints \"listening on ADDRESS\" on standard "
        "output; each request is a line on standard error: method, path, status, bytes of body.");
    const QCommandLineOption help = options.addHelpOption();
    options.addOptions({
        {"accounts",
         "accounts that may sign in: user id TAB password, and TAB reason for one that is refused; "
         "'#' begins a comment line",
         "FILE"},
        {"manifest",
         "manifest, read at each request; @SERVER@ in it stands for this server's address", "FILE"},
        {"packages", "directory that is served as /packages/", "DIR"},
        {"host", "address to listen on", "HOST", "127.0.0.1"},
        {"port", "port to listen on; 0: any free one", "PORT", "0"},
        {"cert", "certificate in PEM; together with --key: serve HTTPS", "FILE"},
        {"key", "private key of the certificate in PEM", "FILE"},
        {"weather", "misbehave as that scenario file says", "FILE"},
        {"die-with-parent", "end when the process that started this one ends"},
    });
    if (!options.parse(QStringList("zelvendor") + arguments))
        return options.errorText();
    if (options.isSet(help))
        options.showHelp();
    manifest = options.value("manifest");
    packages = options.value("packages");
    QByteArray ignored;
    bool isNumber = false;
    const quint16 port = options.value("port").toUShort(&isNumber);
    const QString certificate = options.value("cert");
    const QString key = options.value("key");
    if (!options.isSet("accounts") || manifest.isEmpty() || packages.isEmpty())
        return "--accounts, --manifest and --packages are needed; see --help";
    if (!isNumber)
        return "--port takes a number from 0 to 65535";
    if (!readWhole(manifest, ignored))
        return "cannot read the manifest " + manifest;
    if (!QFileInfo(packages).isDir())
        return "cannot read the packages directory " + packages;
    QSslConfiguration security;
    if (options.isSet("cert") || options.isSet("key"))
        security = zelServerConfiguration(certificate, key);
    if (!(certificate + key).isEmpty() && security.isNull())
        return QString("cannot use the certificate %1 with the key %2").arg(certificate, key);
    QString problem = readAccounts(options.value("accounts"));
    if (problem.isEmpty() && options.isSet("weather"))
        problem = readWeather(options.value("weather"));
    if (problem.isEmpty() && weather.value("tls").toBool() && certificate.isEmpty())
        problem = "this weather needs --cert and --key";
    if (!problem.isEmpty())
        return problem;
    const QString host = options.value("host");
    setSslConfiguration(security);
    QTcpServer::close();
    if (!listen(QHostInfo::fromName(host).addresses().value(0), port))
        return QString("cannot listen on port %1 of %2: %3").arg(port).arg(host, errorString());
    return {};
}

QString ZelVendorServer::readAccounts(const QString& path) {
    QByteArray contents;
    if (!readWhole(path, contents))
        return "cannot read the accounts file " + path;
    int number = 0;
    for (const QString& line : QString::fromUtf8(contents).remove('\r').split('\n')) {
        ++number;
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        QStringList cells = line.split('\t');
        const QString place = QString("%1, line %2: ").arg(path).arg(number);
        if (cells.size() < 2 || cells.size() > 3 || cells.contains(QString()))
            return place + "expected a user id, a TAB, a password and perhaps a TAB and a reason";
        const QString user = cells.takeFirst();
        if (accounts.contains(user))
            return place + "this user id has a line already";
        accounts[user] = cells;
    }
    return {};
}

QString ZelVendorServer::readWeather(const QString& path) {
    QByteArray contents;
    if (!readWhole(path, contents))
        return "cannot read the weather " + path;
    const QString cannot = "cannot use the weather " + path + ": ";
    QJsonParseError error;
    weather = QJsonDocument::fromJson(contents, &error).object();
    if (error.error != QJsonParseError::NoError)
        return cannot + QString("line %1: ").arg(contents.left(error.offset).count('\n') + 1) +
               error.errorString();
    const QJsonArray rules = weather.value("rules").toArray();
    if (rules.isEmpty() && !weather.value("tls").toBool())
        return cannot + "there are no \"rules\" in it";
    for (qsizetype i = 0; i < rules.size(); ++i) {
        const QString fault = faultOf(rules[i].toObject());
        if (!fault.isEmpty())
            return cannot + QString("rule %1: ").arg(i + 1) + fault;
    }
    return {};
}

void ZelVendorServer::handle(QTcpSocket* socket, const ZelRequest& request) {
    const QString path = QUrl::fromPercentEncoding(request.target.split('?')[0]);
    auto& answer = *new ZelAnswer(socket);
    if (path == "/forum/currentproducts.php" && request.method == "POST")
        signIn(request, answer);
    else if (path.startsWith("/packages/"))
        servePackage(packages + path.mid(9), answer);
    else {
        answer.status = 404;
        answer.setText("There is nothing here.\n", text);
    }
    answer.isLast = request.head.toLower().contains("\r\nconnection: close");
    applyWeather(path, request, answer);
    const int status = answer.rule.value("hang_up").toBool() ? 0 : answer.status;
    const QByteArray line =
        request.method + ' ' + path.toUtf8().simplified() + ' ' + QByteArray::number(status) + ' ';
    answer.whenOver = [this, line](qint64 bytes) {
        emit said(line + QByteArray::number(bytes) + '\n');
    };
    answer.start();
}

QString ZelVendorServer::refusal(const ZelRequest& request) const {
    static const QRegularExpression boundary("boundary=\"?([^\"\r]+)");
    const QString form = QString::fromUtf8(request.body);
    const QString end =
        QRegularExpression::escape("\r\n--" + boundary.match(request.head).captured(1));
    const auto field = [&](const QString& name) {
        return QRegularExpression("name=\"?" + name + "\"?(?=[;\r]).*?\r\n\r\n(.*?)" + end,
                                  QRegularExpression::DotMatchesEverythingOption)
            .match(form)
            .captured(1);
    };
    if (field("platform") != "osx")
        return "There are no products for this platform.";
    if (field("community") != "1")
        return "Only the community edition is offered here.";
    // The installer writes "&amp;" for "&" in the user id, and only there.
    const QStringList account = accounts.value(field("username").replace("&amp;", "&"));
    // The same words for both, so that nobody learns which user ids exist.
    if (account.isEmpty() || account[0] != field("userpass"))
        return "The user id or the password is wrong.";
    return account.value(1);
}

void ZelVendorServer::signIn(const ZelRequest& request, ZelAnswer& answer) {
    const QByteArray reason = refusal(request).toUtf8();
    QByteArray contents;
    if (!reason.isEmpty()) {
        answer.fields["Validation"] = "Error " + reason;
        answer.setText(reason + '\n', text);
    } else if (!readWhole(manifest, contents)) {
        emit said("cannot read the manifest " + manifest.toUtf8() + '\n');
        answer.status = 500;
        answer.setText("The manifest cannot be read.\n", text);
    } else {
        answer.fields["Validation"] = "Approved";
        answer.setText(resolved(contents), "application/xml");
    }
}

void ZelVendorServer::servePackage(const QString& path, ZelAnswer& answer) const {
    answer.file.setFileName(path);
    // A path that climbs out of the directory names nothing.
    if (path.contains("/../") || !QFileInfo(path).isFile() ||
        !answer.file.open(QIODevice::ReadOnly)) {
        answer.status = 404;
        answer.setText("There is no such package.\n", text);
        return;
    }
    answer.fields["Content-Type"] = "application/octet-stream";
    const qint64 size = answer.file.size();
    if (const uchar* bytes = answer.file.map(0, size))
        answer.body = {{QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), size), size}};
}

QByteArray ZelVendorServer::resolved(QByteArray contents) const {
    contents.replace("@SERVER@", address().toUtf8());
    return contents.replace("@HTTP@", "http://" + hostAndPort().toUtf8());
}

// Makes of the usual answer what the first rule for its path says.
void ZelVendorServer::applyWeather(const QString& path, const ZelRequest& request,
                                   ZelAnswer& answer) {
    const QJsonArray rules = weather.value("rules").toArray();
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const QJsonValue& value) {
        const QString wanted = value["path"].toString();
        const bool fits =
            wanted.endsWith('*') ? path.startsWith(wanted.chopped(1)) : path == wanted;
        return fits &&
               (!value["first"].isDouble() || asks[wanted + path]++ < value["first"].toInt());
    });
    if (rule == rules.end())
        return;
    const QJsonObject what = rule->toObject();
    answer.rule = what;
    const QJsonArray without = what["without"].toArray();
    for (const auto& name : without)
        answer.fields.remove(name.toString().toUtf8());
    const QJsonObject headers = what["headers"].toObject();
    for (auto it = headers.begin(); it != headers.end(); ++it)
        answer.fields[it.key().toUtf8()] = it->toString().toUtf8();
    if (what.contains("redirect")) {
        answer.status = 302;
        answer.body.clear();
        answer.fields["Location"] =
            resolved(what["redirect"].toString().toUtf8()).replace("@PATH@", request.target);
    }
    if (what.contains("body")) {
        answer.status = what.contains("redirect") ? 302 : 200;
        answer.body.clear();
        const QJsonValue body = what["body"];
        const QJsonArray pieces = body.isArray() ? body.toArray() : QJsonArray{body};
        for (const auto& element : pieces) {
            const QJsonValue piece = element;
            const QByteArray once =
                resolved((piece.isObject() ? piece["text"] : piece).toString().toUtf8());
            const qint64 times = piece.isObject() ? piece["times"].toInteger(1) : 1;
            if (const qint64 size = once.size())
                answer.body.append(
                    {once.repeated(std::clamp(times, qint64(1), 1 + largestBlock / size)),
                     size * times});
        }
    }
    if (what["deflated"].toBool()) {
        QByteArray whole;
        for (const ZelAnswer::Piece& piece : std::as_const(answer.body))
            whole += piece.block.repeated(piece.size / piece.block.size() + 1).left(piece.size);
        whole = qCompress(whole).mid(4); // after the length that the toolkit adds
        answer.body = {{whole, whole.size()}};
        answer.fields["Content-Encoding"] = "deflate";
    }
    answer.status = what["status"].toInt(answer.status);
}
