#pragma once

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Platform {

/// The classes that may come out of an archive.
///
/// A mutable variant counts as its immutable class and a subclass as its superclass; NSNumber is an NSValue, booleans
/// included.
class AllowedClasses final {
public:
    AllowedClasses(std::initializer_list<const char*> names) {
        for (const char* name : names)
            m_names.append(QString::fromLatin1(name));
    }
    explicit AllowedClasses(QStringList names) : m_names(std::move(names)) {}
    static AllowedClasses any() {
        AllowedClasses classes(QStringList{});
        classes.m_isAny = true;
        return classes;
    }

    bool allows(QStringView name) const { return m_isAny || m_names.contains(name) || m_names.contains(u"NSObject"); }
    /// @param classes  from the class up to NSObject, possibly empty
    bool allows(const QString& name, const QStringList& classes) const {
        return allows(name) || (name.startsWith("NSMutable"_L1) && allows("NS"_L1 + name.mid(9))) ||
            std::any_of(classes.begin(), classes.end(), [this](const QString& one) { return allows(one); });
    }

private:
    QStringList m_names;
    bool m_isAny = false;
};

} // namespace Platform
