#pragma once

#include <QStringList>
#include <QVariant>

#include <optional>

/// A category of trusted applications. A value.
class QenCategoryMode final {
public:
    /// Nothing for anything but a dictionary. Takes over "categoryname" and "category_serialnum" where present; an
    /// "appname" becomes the first member.
    static std::optional<QenCategoryMode> initWithDictionary(const QVariant& dictionary);

    const QString& categoryType() const { return m_categoryType; }
    qint64 category_serialnum() const { return m_serialNumber; }
    const QString& trustAppListName() const { return m_trustAppListName; }
    void setTrustAppListName(const QString& name) { m_trustAppListName = name; }
    const QStringList& trustedAppList() const { return m_trustedAppList; }
    /// Appends a name that is not there yet.
    void addAppObj(const QString& name);

private:
    QString m_categoryType;
    qint64 m_serialNumber = 0;
    QString m_trustAppListName;
    QStringList m_trustedAppList;
};
