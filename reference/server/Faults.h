#pragma once

#include "Http.h"

#include <QJsonArray>

#include <optional>

using namespace Qt::StringLiterals;

namespace Reference {

/// One way in which the next answers of a path go wrong.
struct Fault {
    enum class Kind { Delay, Silent, Close, Status, Text, Shape, Json, ErrorCode, State, Data, Seal };
    qint64 id = 0;
    QString path = u"*"_s; ///< "*": every path but the operator's
    int count = 1;         ///< answers still to spoil
    Kind kind = Kind::Silent;
    int delayMs = 0;
    int status = 200;
    QByteArray body;       ///< of Text and Json
    QString shape;         ///< of Shape; of Seal the layer that is wrong
    QJsonObject values;    ///< of ErrorCode and State what the answer carries; of Data what replaces its "data"
    bool performs = false; ///< the operation is carried out all the same, only its answer is spoiled

    /// The answer's body is what it is, also where answers are sealed.
    bool answersItself() const { return kind == Kind::Status || kind == Kind::Text || kind == Kind::Seal; }
};

/// Reads a fault as the operator writes it. @param why  receives what is wrong when nothing is returned
std::optional<Fault> faultFromJson(const QJsonObject& json, QString* why);
QString kindName(Fault::Kind kind);

/// The answer that a fault makes of the real one.
Answer spoiled(const Fault& fault, const Answer& real);

/// What travels of an answer when its sealing is what goes wrong; the answer itself for any other fault.
Answer wronglySealed(const Fault& fault, const Answer& answer);
/// The answer as operations with sealed answers send it.
Answer sealedAnswer(Answer answer);

/// The faults that wait for their requests, oldest first.
class Faults final {
public:
    void add(Fault fault);
    void clear() { m_faults.clear(); }
    /// The fault that this request meets, one of its count used up.
    std::optional<Fault> take(const QString& path);
    QJsonArray toJson() const;

private:
    QList<Fault> m_faults;
    qint64 m_lastId = 0;
};

} // namespace Reference
