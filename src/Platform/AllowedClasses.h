#pragma once

#include <QStringList>

namespace Platform {

/// The classes that may come out of an archive.
///
/// A mutable variant counts as its immutable class and a subclass as its superclass; NSNumber is an NSValue, booleans included.
class AllowedClasses final {
public:
    AllowedClasses(std::initializer_list<const char*> names) {
        for (const char* name : names)
            m_names.append(QString::fromLatin1(name));
    }
    explicit AllowedClasses(QStringList names) : m_names(std::move(names)) {}
    static AllowedClasses any() { return AllowedClasses(QStringList{QStringLiteral("NSObject")}); }

    bool allowsAny() const { return m_names.contains(QLatin1String("NSObject")); }
    bool allows(const QString& name) const { return allowsAny() || m_names.contains(name); }
    /// @param classes  from the class up to NSObject, possibly empty
    bool allows(const QString& name, const QStringList& classes) const {
        for (const QString& one : classes) {
            if (allows(one))
                return true;
        }
        return allows(name) || (name.startsWith(QLatin1String("NSMutable")) && allows(QLatin1String("NS") + name.mid(9)));
    }

private:
    QStringList m_names;
};

} // namespace Platform
