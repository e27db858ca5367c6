#pragma once

#include "QenCategoryMode.h"
#include "Queue.h"
#include "ui_QenTrustedAppWindow.h"

#include <QDialog>
#include <QVariant>

#include <vector>

class QenCloudLoginHelper;

/// The trusted applications by category, in the order in which they come; an application counts once in its category.
/// Entries that are no dictionaries are passed over. Pure function.
std::vector<QenCategoryMode> trustedCategories(const QVariantList& trustedApps);

/// The same by serial number; equal numbers keep their order.
std::vector<QenCategoryMode> bySerialNumber(std::vector<QenCategoryMode> categories);

/// The applications that the administrator trusts, by category. It blocks the window it is opened over while it is
/// open; Escape closes it.
///
/// The list is read on a queue of its own, whose end waits for a read that runs, and shown on the main thread.
class QenTrustedAppWindow final : public QDialog {
    Q_OBJECT
public:
    /// @param login  must outlive the window
    explicit QenTrustedAppWindow(QenCloudLoginHelper& login, QWidget* parent = nullptr);
    /// Waits for a read that runs.

    /// Shows it centred over @p window, or brings it forward; either way the list is read afresh.
    void openOver(const QWidget* window);
    void loadTrustedApp();

private:
    void loadSubView();

    QenCloudLoginHelper& m_login;
    Ui::QenTrustedAppWindow m_ui;
    std::vector<QenCategoryMode> m_categoryModes;
    Platform::SerialQueue m_reader;
};
