#pragma once

#include <QSizeF>
#include <QString>

#include <optional>

class QFont;

/// Rules on strings that several pieces share. Pure functions, any thread.
namespace StringExtension {

/// At least one character that counts as an ASCII letter; only the low byte of each UTF-16 unit is looked at.
bool isLetter(const QString& text);

/// A host name (anything with a letter and a dot) or four decimal numbers from 0 to 255 with dots between.
bool isValidatIP(const QString& text);

/// Whether @p address lies in @p segment, "first-last" with both ends included. False when either is not of that form;
/// a number within an address reads like "12abc" as 12 and without digits as 0.
bool ifINIPSegment(const QString& segment, const QString& address);

/// The password rule: 8 to 32 characters with a letter, a digit and a special character among them.
bool confirmPassFormat(const QString& text);

/// AES-128 in ECB mode despite the name, PKCS#7 padding, Base64 text. The first 16 bytes of @p key in UTF-8 count, a
/// shorter one is filled up with zero bytes. Nothing on any failure; decryption also for padding or a text that comes
/// out wrong.
std::optional<QString> aes256_encrypt(const QString& text, const QString& key);
std::optional<QString> aes256_decrypt(const QString& text, const QString& key);

/// True when only decimal digits, of any script, were given, or nothing at all.
bool isPureNumandCharacters(const QString& text);

/// The room that @p text takes when drawn with @p font and wrapped within @p maxSize, in device-independent pixels and
/// never more than that. Needs the GUI application.
QSizeF sizeWithText(const QString& text, const QFont& font, const QSizeF& maxSize);

} // namespace StringExtension
