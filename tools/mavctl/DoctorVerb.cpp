#include "Doctor.h"
#include "Verb.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

using Doctor::Finding;
using Doctor::State;

namespace {

QString text(const char* english) {
    return QString::fromLatin1(english);
}

QString word(State state) {
    switch (state) {
    case State::Good:
        return text("good");
    case State::Warning:
        return text("warning");
    case State::Problem:
        break;
    }
    return text("problem");
}

QJsonArray jsonOf(const QList<Finding>& findings) {
    QJsonArray array;
    for (const Finding& finding : findings) {
        QJsonObject object{
            {text("subject"), finding.subject}, {text("state"), word(finding.state)}, {text("found"), finding.found}};
        if (!finding.advice.isEmpty())
            object.insert(text("advice"), finding.advice);
        array.append(object);
    }
    return array;
}

QString textOf(const QList<Finding>& findings) {
    QString lines;
    for (const Finding& finding : findings) {
        lines += word(finding.state).leftJustified(9) + finding.subject.leftJustified(21) + finding.found + u'\n';
        if (!finding.advice.isEmpty())
            lines += QString(30, u' ') + text("-> ") + finding.advice + u'\n';
    }
    return lines;
}

} // namespace

Exit runDoctor(const QStringList& arguments) {
    const bool asJson = arguments == QStringList{text("--json")};
    if (!asJson && !arguments.isEmpty())
        return Exit::Usage;
    const QList<Finding> findings{Doctor::sessionBus(), Doctor::trayHost(), Doctor::notificationService(),
        Doctor::ticketService(), Doctor::factsService(), Doctor::chineseFonts(), Doctor::agentFolder(),
        Doctor::agentFiles(), Doctor::fileWatches(), Doctor::server(), Doctor::log()};
    const auto problems = std::count_if(
        findings.begin(), findings.end(), [](const Finding& finding) { return finding.state == State::Problem; });
    const QJsonObject all{{text("findings"), jsonOf(findings)}, {text("problems"), qint64{problems}}};
    const Exit printed = print(asJson ? QJsonDocument(all).toJson() : textOf(findings).toUtf8());
    if (printed != Exit::Ok || problems == 0)
        return printed;
    return fail(u"%1 found"_s.arg(problems == 1 ? text("1 problem") : u"%1 problems"_s.arg(problems)));
}
