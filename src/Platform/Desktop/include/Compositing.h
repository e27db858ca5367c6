#pragma once

namespace Platform {

/// Whether windows can let through what lies behind them: false only under X11 without a compositing manager, which may
/// come and go. Main thread.
bool hasCompositing();

} // namespace Platform
