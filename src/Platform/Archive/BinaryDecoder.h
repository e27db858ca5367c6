#pragma once

#include "ArchiveValue.h"
#include "BinaryPropertyListReader.h"

namespace Platform {

/// Builds the value below one object of a binary property list.
///
/// A value is counted at every place where it stands, before room is made for it, so that neither shared containers nor
/// cycles get far.
class BinaryDecoder {
public:
    using Reader = BinaryPropertyListReader;
    using Kind = Reader::Kind;

    /// The key of a reference of a keyed archive that is read as part of a plain list.
    static inline const QString UidKey = QStringLiteral("CF$UID");
    /// Instead of a height: nothing can be made of it.
    static constexpr int Broken = -1;

    explicit BinaryDecoder(Reader& reader) : m_reader(reader) {}
    virtual ~BinaryDecoder() = default;

    /// @param result  Nothing before
    /// @returns how many containers stand within each other in @p result, itself included; or Broken
    int decode(quint32 index, int depth, ArchiveValue& result);

protected:
    /// What a reference of a keyed archive is; here that dictionary of one pair.
    virtual int decodeUid(quint32 number, int depth, ArchiveValue& result);

    /// A string, number, date or data.
    bool decodeScalar(quint32 index, const Reader::Object& object, ArchiveValue& result);
    /// Room for @p entries in a container at @p depth.
    bool enter(quint32 entries, int depth);
    /// Calls @p decodeOne with each position; the height of a container of such elements.
    template <typename DecodeOne>
    static int decodeEach(quint32 count, DecodeOne decodeOne) {
        int height = 0;
        for (quint32 i = 0; i < count; ++i) {
            const int inner = decodeOne(i);
            if (inner == Broken)
                return Broken;
            height = std::max(height, inner);
        }
        return height + 1;
    }

    Reader& m_reader;
    quint32 m_values = 1;

private:
    int decodeArray(const Reader::Object& object, int depth, ArchiveValue& result);
    int decodeDictionary(const Reader::Object& object, int depth, ArchiveValue& result);
};

} // namespace Platform
