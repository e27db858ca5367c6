#pragma once

#include <functional>

class QNetworkProxy;
class QUrl;

namespace Platform {

/// Calls @p found on the network thread with the system's proxy for the server of @p url: before this returns when the
/// answer is known, else later. For the network thread alone.
///
/// The system is asked on a borrowed thread, since a proxy script may take seconds, and its answers are remembered for
/// half a minute, so that a poll does not wake a second thread.
void findProxy(const QUrl& url, std::function<void(const QNetworkProxy& proxy)> found);

} // namespace Platform
