#pragma once

#include <QString>

#include <optional>

class ITDevice;
class StateFolder;

/// The identifier under which the server knows this device until somebody has signed in. Any thread.
class SoleId final {
public:
    SoleId(StateFolder& state, ITDevice& device) : m_state(state), m_device(device) {}

    bool exists() const;
    std::optional<QString> value() const;
    /// Makes a new one; what there is goes.
    void make();
    void remove();

    /// 16 characters: those from index 7 of the MD5 sum's hexadecimal digits.
    static QString stringToMD5(const QString& text);
    /// Whole seconds since 1970.
    static QString getNowTimestamp();

private:
    StateFolder& m_state;
    ITDevice& m_device;
};
