#include "ArchiveScalars.h"

namespace Platform {

bool ArchiveScalars::read(BinaryPropertyListReader& reader, quint32 index,
    const BinaryPropertyListReader::Object& object, ArchiveValue& result) {
    using Kind = BinaryPropertyListReader::Kind;
    using Type = ArchiveValue::Type;
    switch (object.kind) {
    case Kind::Boolean:
        ArchiveLayout::setInteger(result, Type::Boolean, object.integer);
        return true;
    case Kind::Integer:
        ArchiveLayout::setInteger(result, Type::Integer, object.integer);
        return true;
    case Kind::Unsigned:
        ArchiveLayout::setInteger(result, Type::Unsigned, object.integer);
        return true;
    case Kind::SingleReal:
        ArchiveLayout::setReal(result, Type::Double, object.real());
        ArchiveLayout::setSinglePrecision(result);
        return true;
    case Kind::Real:
        ArchiveLayout::setReal(result, Type::Double, object.real());
        return true;
    case Kind::Date:
        ArchiveLayout::setReal(result, Type::Date, object.real());
        return true;
    case Kind::Data: {
        QByteArray bytes;
        if (!reader.data(index, object, bytes))
            return false;
        result = bytes;
        return true;
    }
    case Kind::String:
    case Kind::WideString:
        ArchiveLayout::setString(result, reader.string(index, object));
        return result.isString();
    default:
        return false;
    }
}

} // namespace Platform
