#pragma once

#include <QByteArray>
#include <QStringList>

/// Look-ups and splitting that lists of several pieces share. Pure functions, any thread.
namespace ArrayExtension {

/// The strings that end at each zero byte of @p data, empty ones included; what follows the last zero byte is dropped.
/// Bytes beyond ASCII read as Latin-1.
QStringList stringArrayWithCFData(const QByteArray& data);

/// The index of the first element whose categoryType() is @p categoryType, -1 without one. Elements are objects or
/// pointers to such; null pointers match nothing.
template <typename Container>
qsizetype ObjectPositionToArray(const Container& elements, const QString& categoryType) {
    qsizetype position = 0;
    for (const auto& element : elements) {
        if constexpr (requires { element.categoryType(); }) {
            if (element.categoryType() == categoryType)
                return position;
        } else {
            if (element && element->categoryType() == categoryType)
                return position;
        }
        ++position;
    }
    return -1;
}

template <typename Container>
bool isContainsObject(const Container& elements, const QString& categoryType) {
    return ObjectPositionToArray(elements, categoryType) != -1;
}

} // namespace ArrayExtension
