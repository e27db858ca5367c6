#pragma once

#include "AnswerVerdict.h"
#include "TaskGroup.h"

#include <functional>

class ITDevice;
class QenCloudLoginHelper;
class QenLogHelper;

/// From where a person signs out; the two send and log a little differently.
enum class LogoutPlace { Menu, LoginWindow };

struct LogoutWorld {
    QenCloudLoginHelper& login;
    ITDevice& device;
    QenLogHelper& log;
    /// Waited for by the owner of the three above.
    Platform::TaskGroup& work;
};

/// Signs out in the background and logs what came of it. Returns at once.
/// @param show  called once, on any thread: Done when the user is signed out, else what to tell
void requestLogout(const LogoutWorld& world, LogoutPlace place, std::function<void(const AnswerVerdict&)> show);
