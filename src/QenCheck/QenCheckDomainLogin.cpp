#include "QenCheck.h"
#include "ScriptRunner.h"
#include "TaskHelper.h"
#include "UserFacts.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

constexpr quint32 RetryTicks = 15;

QString withoutLineEnds(QString text) {
    return text.remove(u'\n');
}

/// "CORP\ursula" has none: it is an account with its domain in front.
bool hasEscapes(const QString& name) {
    static const QRegularExpression account(uR"(^[^\\]+\\u(?![0-9A-Fa-f]{4})[^\\]*$)"_s);
    return name.contains(u"\\u"_s) && !account.match(name).hasMatch();
}

/// What stands between the quotes of a property list's string in its old text form: \U and up to four hexadecimal
/// digits are a UTF-16 unit, up to three octal digits a character, and the usual letters control characters; a
/// backslash before anything else is dropped. Null for what cannot stand there.
QString unescaped(const QString& content) {
    static const auto DotIsAll = QRegularExpression::DotMatchesEverythingOption;
    static const QRegularExpression whole(QRegularExpression::anchoredPattern(uR"(([^\\"]|\\.)*+)"_s), DotIsAll);
    static const QRegularExpression escape(uR"(\\(?:U([0-9A-Fa-f]{0,4})|([0-7]{1,3})|(.)))"_s, DotIsAll);
    static constexpr QStringView Letters = u"abfnrtv";
    static constexpr QStringView Meanings = u"\a\b\f\n\r\t\v";
    if (!whole.match(content).hasMatch())
        return {};
    QString text = u""_s;
    qsizetype end = 0;
    for (auto it = escape.globalMatch(content); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        text += content.mid(end, match.capturedStart() - end);
        end = match.capturedEnd();
        const qsizetype letter = match.hasCaptured(3) ? Letters.indexOf(match.captured(3)) : -1;
        if (match.hasCaptured(1))
            text += QChar(match.captured(1).toUShort(nullptr, 16));
        else if (match.hasCaptured(2))
            text += QChar(match.captured(2).toUShort(nullptr, 8));
        else
            text += letter < 0 ? match.captured(3) : QString(Meanings[letter]);
    }
    return text + content.mid(end);
}

} // namespace

void QenCheck::checkDomainLogin() {
    log(u"[QenCheck] DomainLogin: Start check Domain login status"_s);
    if (!m_world.accounts.check || m_world.accounts.hasRecord()) {
        log(u"[QenCheck] DomainLogin: NGN is start or Qen has been logined."_s);
        return;
    }
    m_probeQueue.async([this] {
        if (const auto user = domainUser())
            m_main.async([this, user = *user] { beginRequests(user); });
    });
}

QString QenCheck::lastUserName() const {
    QString output;
    m_world.tasks.excuteTaskPath(u"/usr/bin/defaults"_s,
        {u"read"_s, u"/Library/Preferences/com.apple.loginwindow.plist"_s, u"lastUserName"_s}, &output, nullptr);
    if (output.isEmpty())
        return {};
    const QString name = withoutLineEnds(output);
    return orNull(hasEscapes(name) ? replaceUnicode(name) : name);
}

std::optional<QenCheck::DomainUser> QenCheck::domainUser() {
    const QString name = lastUserName();
    if (name.isNull())
        return std::nullopt;
    QString output;
    Error error;
    m_world.tasks.excuteTaskPath(
        u"/usr/bin/dscl"_s, {u"."_s, u"-read"_s, u"/Users/%1"_s.arg(name), u"OriginalNodeName"_s}, &output, &error);
    if (error) {
        log(u"[QenCheck] DomainLogin:  The login user account isn`t domain mobile account."_s);
        return std::nullopt;
    }
    const QString domain = withoutLineEnds(output.section(u'/', -1));
    const QString joined = joinedDomainName();
    if (output.isNull() || joined.isNull() || domain != joined) {
        log(u"[QenCheck] DomainLogin: The domain of mobile account is not be same the current domain."_s);
        return std::nullopt;
    }
    // The server knows an account of the directory by its short name.
    return DomainUser{AccountName::parsed(name).shortName, domain};
}

void QenCheck::beginRequests(const DomainUser& user) {
    m_user = user;
    m_timer.reset();
    m_time = RetryTicks;
    sendDomainAccountCheckRequest();
}

QString QenCheck::joinedDomainName() {
    const Platform::ScriptRunner script(
        u"do shell script \"dsconfigad -show | grep 'Active Directory Domain' | awk '{print $5}'\""_s);
    Error error;
    const QString text = script.execute(&error);
    if (error) {
        log(u"[QenCheck] DomainLogin: Check join domain script excute failed with error: %1"_s.arg(error.logText()));
        return {};
    }
    const QString domain = text.isEmpty() ? QString() : text;
    log(u"[QenCheck] DomainLogin: current joined domain: %1"_s.arg(orNull(domain)));
    return domain;
}

void QenCheck::sendDomainAccountCheckRequest() {
    m_world.accounts.check(m_user.uid, m_user.domain,
        m_main.wrapped([this](bool isValid, const std::optional<QString>& name, const Error& error) {
            domainAnswered(isValid, name.value_or(QString()), error);
        }));
}

void QenCheck::domainAnswered(bool isValid, const QString& name, const Error& error) {
    if (error) {
        log(u"[QenCheck] DomainLogin:  This is not network request."_s);
        retryLater();
        return;
    }
    m_isDomainLoginChecked = true;
    m_timer.reset();
    if (!isValid) {
        log(u"[QenCheck] DomainLogin:  The Domain login check AD accoount is invalid."_s);
        return;
    }
    log(u"[QenCheck] DomainLogin:  The Domain login is success."_s);
    const QString domainName = m_user.domain.section(u'.', 0, 0).toUpper();
    m_world.accounts.signIn(m_user.uid, name, domainName, m_main.wrapped([this](bool isSaved) {
        log(u"[QenCheck] DomainLogin:  The account model save result: %1."_s.arg(isSaved ? 1 : 0));
    }));
}

void QenCheck::retryLater() {
    m_isDomainLoginChecked = false;
    m_timeCount = m_time;
    m_timer = std::make_unique<Platform::DispatchTimer>(Platform::mainQueue(), m_tick, [this] { timerHandler(); });
    m_timer->start();
}

void QenCheck::timerHandler() {
    if (m_timeCount != 0) {
        --m_timeCount;
        return;
    }
    if (m_world.accounts.hasRecord()) {
        m_timer.reset();
    } else if (!m_isDomainLoginChecked) {
        sendDomainAccountCheckRequest();
        m_timer.reset();
    }
}

QString QenCheck::replaceUnicode(const QString& text) {
    QString plain = unescaped(QString(text).replace(u"\\u"_s, u"\\U"_s).replace(u'"', u"\\\""_s));
    return plain.replace(u"\\r\\n"_s, u"\n"_s);
}
