#include "StateWriter.h"

#include "Report.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

const QString applicationSupport = u"/Library/Application Support"_s;

std::optional<QByteArray> contentOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

bool writeWhole(const QString& path, const QByteArray& content, QString* why) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush())
        return true;
    *why = file.errorString();
    return false;
}

} // namespace

StateWriter::StateWriter(Places places, ArchiveTool tool) : m_places(std::move(places)), m_tool(std::move(tool)) {}

QString StateWriter::folderOf(Place place) const {
    return place == Place::AgentState ? m_places.root + applicationSupport + u"/QenCloud"_s
                                      : m_places.home + applicationSupport + u"/QenCloudL"_s;
}

QString StateWriter::typedServerFile() const {
    return folderOf(Place::UserState) + u"/domianorip.archive"_s;
}

void StateWriter::applyAll() {
    const auto written = [](const QString& path) { return QFileInfo(path).lastModified(); };
    if (written(typedServerFile()) < written(m_places.file)) {
        applyTypedServer();
        applyFile();
    } else {
        applyFile();
        applyTypedServer();
    }
}

void StateWriter::applyFile() {
    const auto text = contentOf(m_places.file);
    QString why = u"cannot be read"_s;
    const auto wanted = text ? parseAgentFile(*text, &why) : std::nullopt;
    if (!wanted) {
        complain(m_places.file, why);
        return;
    }
    for (const Entry& entry : catalogue()) {
        if (wanted->value(entry.key) != m_applied.value(entry.key))
            apply(entry, wanted->value(entry.key));
    }
    m_applied = *wanted;
}

void StateWriter::applyTypedServer() {
    const auto content = contentOf(typedServerFile()).value_or(QByteArray());
    if (content == m_typed)
        return;
    m_typed = content;
    if (content.isEmpty())
        return;
    const QJsonValue servers = serversFromTyped(m_tool.show(typedServerFile()).value_or(QJsonValue::Null));
    if (servers.isNull())
        complain(typedServerFile(), u"holds no usable address"_s);
    else
        apply(catalogue().first(), servers);
}

void StateWriter::apply(const Entry& entry, const QJsonValue& value) {
    const QDir folder(folderOf(entry.place));
    const QString temporary = folder.filePath(u".mav-reference-agent"_s);
    QString why = u"cannot make its folder"_s;
    for (const QString& name : entry.files) {
        const QString path = folder.filePath(name);
        if (value.isUndefined()) {
            if (QFile::remove(path))
                tell("removed", name);
            continue;
        }
        if (!folder.mkpath(u"."_s) || !fill(temporary, entry, value, &why)) {
            complain(name, why);
            continue;
        }
        if (contentOf(temporary) == contentOf(path)) {
            QFile::remove(temporary);
            continue;
        }
        QFile::setPermissions(temporary, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        // Replaced in one step, so that the client reads the old file or the new one.
        if (std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(path).constData()) == 0)
            tell("wrote", name);
        else
            complain(name, u"cannot be replaced"_s);
    }
}

bool StateWriter::fill(const QString& temporary, const Entry& entry, const QJsonValue& value, QString* why) const {
    if (entry.form == Form::Text)
        return writeWhole(temporary, value.toString().toUtf8(), why);
    if (entry.form == Form::Picture) {
        const auto picture = contentOf(QFileInfo(m_places.file).dir().filePath(value.toString()));
        *why = u"cannot read the picture"_s;
        return picture && writeWhole(temporary, *picture, why);
    }
    return m_tool.write(temporary, archivedValue(entry, value), why);
}

} // namespace ReferenceAgent
