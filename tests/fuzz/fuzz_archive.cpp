// Property lists and keyed archives from any bytes: nothing may crash or take long, and what is read can be written and
// read again.

#include "Fuzzing.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PropertyList.h"

namespace {

void readAndWriteArchive(const QByteArray& bytes) {
    QString rootKey;
    const auto root = Platform::KeyedUnarchiver::unarchivedObject(bytes, Platform::AllowedClasses::any(), &rootKey);
    const auto strict =
        Platform::KeyedUnarchiver::unarchivedObject(bytes, {"NSString", "NSDictionary", "NSArray", "NSValue"});
    require(!strict || root, "read with fewer classes allowed, but not with any");
    if (!root)
        return;
    const QByteArray written = Platform::KeyedArchiver::archivedData(*root);
    if (written.isEmpty())
        return; // written without the tricks of the input it is too large
    const auto again = Platform::KeyedUnarchiver::unarchivedObject(written, Platform::AllowedClasses::any());
    require(again == root, "what was written is read as something else");
}

void readAndWriteList(const QByteArray& bytes) {
    const auto root = Platform::PropertyList::decoded(bytes);
    if (!root)
        return;
    const QByteArray binary = Platform::PropertyList::binaryData(*root);
    if (!binary.isEmpty()) {
        const auto again = Platform::PropertyList::decoded(binary);
        require(again == root, "a binary list is read as something else");
    }
    const QByteArray xml = Platform::PropertyList::xmlData(*root);
    const auto again = Platform::PropertyList::decoded(xml);
    // What XML does not hold, such as parts of a second, is gone after the first time.
    require(xml.isEmpty() || (again && Platform::PropertyList::xmlData(*again) == xml), "XML is read otherwise");
}

} // namespace

void fuzz(const QByteArray& input) {
    readAndWriteArchive(input);
    readAndWriteList(input);
}
