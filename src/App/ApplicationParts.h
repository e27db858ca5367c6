#pragma once

#include <chrono>
#include <functional>

class QWidget;

/// Pieces of the client that the application starts or opens without knowing them. One that is empty is not asked.
struct ApplicationParts {
    std::function<void()> startUIResourcesFileListen;
    std::function<void()> configParlo;
    std::function<void()> startProcessListener;
    std::chrono::milliseconds processListenerDelay{30000};

    std::function<bool()> checkCaVersion;
    std::function<void()> installStaticMobileconfig;

    /// Begin a sheet on the given window.
    /// @param exporting  told on the main thread when an export starts and when it is over
    std::function<void(QWidget*, const std::function<void(bool)>& exporting)> beginExportLogSheet;
    std::function<void(QWidget*)> beginModifyPasswordSheet;
};
