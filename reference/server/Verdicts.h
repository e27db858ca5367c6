#pragma once

#include "AccountStore.h"
#include "DeviceStore.h"
#include "Http.h"
#include "Tickets.h"

#include <optional>

namespace Reference {

/// The states that answers carry; those from -7 to -2 except -6 and -5 end a client's session.
namespace State {
constexpr int deviceApproved = -8; ///< the waiting is over; the sign-in follows
constexpr int deviceLoggedOut = -7;
constexpr int deviceRejected = -6;
constexpr int deviceWaiting = -5;
constexpr int deviceNotRegistered = -4;
constexpr int loginFailed = -3; ///< the ticket's time is over
constexpr int notSignedIn = -2;
constexpr int codeScanned = -1;
constexpr int valid = 0;
constexpr int nothingNew = 1; ///< changes nothing at the client
} // namespace State

/// Why this account may not sign in, whatever the device.
std::optional<Refusal> judgeAccount(const Account& account);
/// Why this device may not be used for this account.
std::optional<Refusal> judgeDevice(const Device& device, const QString& userid);
/// The state that a device's standing gives to a sign-in with good credentials.
/// @param requireRegistration  a device nobody decided about is not registered
int stateOfDevice(const Device& device, bool requireRegistration);
/// Whether this sign-in puts the device into the queue of those that wait for approval.
bool startsWaiting(const Device& device, const Account& account);
/// The state of a ticket, before its device is looked at.
int stateOfSession(Session::State state);

/// What a state means, for the answer's "msg"; empty for the ones that need no word.
QString stateText(int state);

/// "l***@mav.example"; "***" when the text has no "@".
QString maskedMail(const QString& mail);

Refusal wrongPassword();
Refusal wrongCode(bool missing);

} // namespace Reference
