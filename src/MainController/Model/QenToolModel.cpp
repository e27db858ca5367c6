#include "QenToolModel.h"

#include "IntegerValue.h"

#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString nameFor(const QenToolModel& tool) {
    if (!tool.appName.trimmed().isEmpty())
        return tool.appName;
    if (!tool.procName.isEmpty())
        return tool.procName.endsWith(u".app") ? tool.procName.chopped(4) : tool.procName;
    return QUrl::fromUserInput(tool.desUrl).host();
}

} // namespace

std::optional<QenToolModel> QenToolModel::initWithDictionary(const QVariant& dictionary) {
    if (dictionary.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap values = dictionary.toMap();
    static constexpr std::pair<const char16_t*, QString QenToolModel::*> Texts[] = {
        {u"apptype", &QenToolModel::appType}, {u"downloadurl", &QenToolModel::downloadUrl},
        {u"desturl", &QenToolModel::desUrl}, {u"appname", &QenToolModel::appName},
        {u"procname", &QenToolModel::procName}, {u"execpath", &QenToolModel::execPath},
        {u"signature", &QenToolModel::signature}, {u"appversion", &QenToolModel::appVersion},
        {u"corp", &QenToolModel::corp}, {u"icon", &QenToolModel::icon}};
    QenToolModel model;
    for (const auto& [key, field] : Texts) {
        if (const QVariant value = values.value(QString::fromUtf16(key)); value.typeId() == QMetaType::QString)
            model.*field = value.toString();
    }
    const QVariant serial = values.value(u"app_serialnum"_s);
    if (serial.isValid())
        model.appSerialNum = integerValue(serial).value_or(0);
    return model;
}

QList<QenToolModel> toolModels(const QVariant& appMgrList, const std::function<void(const QString& line)>& log) {
    QList<QenToolModel> models;
    if (appMgrList.typeId() != QMetaType::QVariantList)
        return models;
    for (const QVariant& entry : appMgrList.toList()) {
        auto model = QenToolModel::initWithDictionary(entry);
        if (!model)
            continue;
        model->appName = nameFor(*model);
        if (model->appName.isEmpty())
            log(u"[QenToolModel] a tool without name, program and address is left out"_s);
        else
            models.append(*model);
    }
    std::stable_sort(models.begin(), models.end(),
        [](const QenToolModel& left, const QenToolModel& right) { return left.appSerialNum < right.appSerialNum; });
    return models;
}
