// zobrel-navd: the navigation web service the stations' online provider talks to.

#include "navservice.h"
#include "tokenlist.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QHostAddress>
#include <QSslCertificate>
#include <QSslKey>

#include <cstdio>

namespace {

int fail(const QString &text)
{
    std::fprintf(stderr, "zobrel-navd: %s\n", qPrintable(text));
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zobrel-navd"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Serves navigation databases to Zobrel stations over HTTP."));
    parser.addHelpOption();
    const QCommandLineOption dbOption(QStringLiteral("db"), QStringLiteral("A database for a source, name=file."),
                                      QStringLiteral("source=file"));
    const QCommandLineOption portOption(QStringLiteral("port"), QStringLiteral("TCP port (0: any free port)."),
                                        QStringLiteral("port"));
    const QCommandLineOption listenOption(QStringLiteral("listen"), QStringLiteral("Address to listen on."),
                                          QStringLiteral("address"), QStringLiteral("0.0.0.0"));
    const QCommandLineOption tokensOption(QStringLiteral("tokens"), QStringLiteral("Access tokens, one per line."),
                                          QStringLiteral("file"));
    const QCommandLineOption certOption(QStringLiteral("cert"), QStringLiteral("PEM certificate for HTTPS."),
                                        QStringLiteral("pem"));
    const QCommandLineOption keyOption(QStringLiteral("key"), QStringLiteral("PEM private key for HTTPS."),
                                       QStringLiteral("pem"));
    const QCommandLineOption rateOption(QStringLiteral("rate"),
                                        QStringLiteral("Requests per second per client address (0: no limit)."),
                                        QStringLiteral("n"), QStringLiteral("50"));
    const QCommandLineOption cacheOption(QStringLiteral("cache-mb"),
                                         QStringLiteral("Megabytes of encoded map replies kept per database."),
                                         QStringLiteral("n"), QStringLiteral("256"));
    const QCommandLineOption idleOption(QStringLiteral("idle-timeout"),
                                        QStringLiteral("Seconds after which a silent connection is closed (0: never)."),
                                        QStringLiteral("s"), QStringLiteral("30"));
    parser.addOptions(
        {dbOption, portOption, listenOption, tokensOption, certOption, keyOption, rateOption, cacheOption, idleOption});
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (!parser.isSet(dbOption) || !parser.isSet(portOption) || !parser.isSet(tokensOption))
        return fail(QStringLiteral("--db, --port and --tokens are required (see --help)"));
    if (parser.isSet(certOption) != parser.isSet(keyOption))
        return fail(QStringLiteral("--cert and --key go together"));

    bool ok = false;
    const uint port = parser.value(portOption).toUInt(&ok);
    if (!ok || port > 65535)
        return fail(QStringLiteral("--port must be a number from 0 to 65535"));
    const double rate = parser.value(rateOption).toDouble(&ok);
    if (!ok || rate < 0)
        return fail(QStringLiteral("--rate must be a number of 0 or more"));
    const int cacheMb = parser.value(cacheOption).toInt(&ok);
    if (!ok || cacheMb < 1)
        return fail(QStringLiteral("--cache-mb must be a number of 1 or more"));
    const double idleSeconds = parser.value(idleOption).toDouble(&ok);
    if (!ok || idleSeconds < 0 || idleSeconds > 86400)
        return fail(QStringLiteral("--idle-timeout must be a number of seconds from 0 to 86400"));
    const QHostAddress address(parser.value(listenOption));
    if (address.isNull())
        return fail(QStringLiteral("--listen is not an IP address"));

    NavService service;
    QString error;
    TokenList tokens;
    if (!tokens.load(parser.value(tokensOption), &error))
        return fail(error);
    service.setTokens(tokens);
    service.setRateLimit(rate);
    service.setIdleTimeout(int(idleSeconds * 1000));
    service.setReplyCacheBytes(qint64(cacheMb) * 1024 * 1024);
    for (const QString &argument : parser.values(dbOption)) {
        const int eq = argument.indexOf(QLatin1Char('='));
        if (eq <= 0 || eq == argument.size() - 1)
            return fail(QStringLiteral("--db takes source=file, not %1").arg(argument));
        if (!service.addSource(argument.left(eq), argument.mid(eq + 1), &error))
            return fail(error);
    }

    if (parser.isSet(certOption)) {
        QFile certFile(parser.value(certOption));
        QFile keyFile(parser.value(keyOption));
        if (!certFile.open(QIODevice::ReadOnly) || !keyFile.open(QIODevice::ReadOnly))
            return fail(QStringLiteral("cannot read the certificate or key file"));
        const QSslCertificate certificate(&certFile, QSsl::Pem);
        const QByteArray keyPem = keyFile.readAll();
        QSslKey key(keyPem, QSsl::Rsa, QSsl::Pem);
        if (key.isNull())
            key = QSslKey(keyPem, QSsl::Ec, QSsl::Pem);
        if (certificate.isNull() || key.isNull())
            return fail(QStringLiteral("the certificate or key is not valid PEM"));
        service.sslSetup(certificate, key);
    }

    const quint16 bound = service.listen(address, quint16(port));
    if (bound == 0)
        return fail(QStringLiteral("cannot listen on %1:%2").arg(address.toString()).arg(port));
    std::printf("zobrel-navd: listening on port %u%s\n", unsigned(bound), parser.isSet(certOption) ? " (https)" : "");
    std::fflush(stdout);
    return app.exec();
}
