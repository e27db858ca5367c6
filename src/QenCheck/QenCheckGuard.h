#pragma once

#include "QenCheck.h"

#include <mutex>

/// Lets an answer from another thread find out, and hold on to, whether its check object still exists.
struct QenCheck::Guard {
    std::mutex mutex;
    bool isOpen = true;
};
