#pragma once

#include <QByteArray>
#include <QStringList>

#include <algorithm>

/// Look-ups and splitting that lists of several pieces share. Pure functions, any thread.
namespace ArrayExtension {

/// The strings that end at each zero byte of @p data, empty ones included; what follows the last zero byte is dropped.
/// Bytes beyond ASCII read as Latin-1.
inline QStringList stringArrayWithCFData(const QByteArray& data) {
    return QString::fromLatin1(data).split(QChar(0)).mid(0, data.count('\0'));
}

/// The index of the first element whose categoryType() is @p categoryType, -1 without one.
template <typename Container>
qsizetype ObjectPositionToArray(const Container& elements, const QString& categoryType) {
    const auto found = std::find_if(elements.begin(), elements.end(),
        [&categoryType](const auto& element) { return element.categoryType() == categoryType; });
    return found == elements.end() ? -1 : found - elements.begin();
}

template <typename Container>
bool isContainsObject(const Container& elements, const QString& categoryType) {
    return ObjectPositionToArray(elements, categoryType) != -1;
}

} // namespace ArrayExtension
