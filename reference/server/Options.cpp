#include "Options.h"

#include "Secrets.h"

#include <QCommandLineParser>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

/// "user:password[:one-time code or secret][:mail]"
bool readAccount(const QString& text, QPair<Account, QString>* account) {
    const QStringList parts = text.split(u':');
    if (parts.size() < 2 || parts.size() > 4 || parts[0].isEmpty() || parts[1].isEmpty())
        return false;
    account->first.userid = parts[0];
    account->first.otp = parts.value(2);
    account->first.mail = parts.value(3);
    account->second = parts[1];
    return account->first.otp.isEmpty() || isUsableCodeSecret(account->first.otp);
}

bool readPort(const QString& text, quint16* port) {
    bool number = false;
    *port = text.toUShort(&number);
    return number;
}

} // namespace

Options parseOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Management server for demonstration and tests, reachable from this machine only."_s);
    const QCommandLineOption help(QStringList{u"h"_s, u"help"_s}, u"Show this help."_s);
    const QCommandLineOption folder(
        u"folder"_s, u"Where database, certificate and key live; made when missing."_s, u"dir"_s);
    const QCommandLineOption listen(u"listen"_s, u"Loopback address to listen on."_s, u"address"_s, u"127.0.0.1"_s);
    const QCommandLineOption port(u"port"_s, u"HTTP port; 0 picks a free one."_s, u"number"_s, u"0"_s);
    const QCommandLineOption httpsPort(u"https-port"_s, u"HTTPS port; 0 picks a free one."_s, u"number"_s, u"0"_s);
    const QCommandLineOption account(u"account"_s,
        u"Account to add unless it exists; the code is six digits or a Base32 secret. Repeatable."_s,
        u"user:password[:code][:mail]"_s);
    const QCommandLineOption stdinOption(u"until-stdin-closes"_s, u"End when standard input closes."_s);
    parser.addOptions({help, folder, listen, port, httpsPort, account, stdinOption});

    Options options;
    const auto wrong = [&options](const QString& text) {
        options.text = text;
        return options;
    };
    if (!parser.parse(arguments))
        return wrong(parser.errorText());
    options.help = parser.isSet(help);
    if (options.help)
        return wrong(parser.helpText());
    options.folder = parser.value(folder);
    options.address = QHostAddress(parser.value(listen));
    options.untilStdinCloses = parser.isSet(stdinOption);
    if (options.folder.isEmpty() || !parser.positionalArguments().isEmpty())
        return wrong(u"--folder is needed, other arguments are not"_s);
    if (!options.address.isLoopback())
        return wrong(u"--listen takes a loopback address only"_s);
    if (!readPort(parser.value(port), &options.port) || !readPort(parser.value(httpsPort), &options.httpsPort))
        return wrong(u"a port is a number from 0 to 65535"_s);
    for (const QString& text : parser.values(account)) {
        QPair<Account, QString> read;
        if (!readAccount(text, &read))
            return wrong(u"--account takes user:password[:code][:mail]"_s);
        options.accounts.append(read);
    }
    return options;
}

} // namespace Reference
