#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QUrlQuery>

namespace Reference {

using HeaderList = QList<QPair<QByteArray, QByteArray>>;

struct Request {
    QByteArray method;
    QString path;
    QUrlQuery query;
    HeaderList headers;
    QByteArray body;
    QString peer; ///< common name of the client's certificate; empty without one, or without TLS

    /// The first header of that name, case ignored; empty when there is none.
    QByteArray header(const QByteArray& name) const;
};

struct Answer {
    int status = 200;
    QByteArray type = "application/json";
    QByteArray body;
    HeaderList headers;
};

Answer jsonAnswer(const QJsonObject& object, int status = 200);
/// A page that runs no script.
Answer pageAnswer(const QByteArray& html, int status = 200);
/// The header that keeps a page from loading or running anything but its own style and, if there is one, this script.
QPair<QByteArray, QByteArray> contentPolicy(const QByteArray& script);

/// {"ret":0,"msg":msg,"data":data}
Answer success(const QJsonObject& data, const QString& msg = {});

/// A refusal as the client reads it: result code, error code, text in Chinese.
struct Refusal {
    int ret = 1;
    int errorcode = 0;
    QString msg;
};
Answer refusal(const Refusal& refusal);
/// {"ret":-1,"errorcode":11}: what was sent is not a request of this operation. @param why  shown after the text
Answer badParameters(const QString& why = {});

} // namespace Reference
