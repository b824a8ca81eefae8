#include "platform/hive/breach.h"

namespace tolvar {

std::string_view BreachMeaning(Breach breach) noexcept
{
    switch (breach) {
    case Breach::kNone:
        return "nothing is wrong";
    case Breach::kMediumFailed:
        return "the file could not be read here, or was cut short while open";
    case Breach::kOffsetOutside:
        return "a record refers to a place outside the hive or between cells";
    case Breach::kCellFree:
        return "a record refers to a free cell";
    case Breach::kCellSize:
        return "the cell's size can't be";
    case Breach::kCellTooSmall:
        return "the record does not fit in its cell";
    case Breach::kKeySignature:
        return "this is no key";
    case Breach::kKeyNameLength:
        return "the key's name is empty or too long";
    case Breach::kKeyFlags:
        return "the key has flags that it must not have on a disk, or lacks those of a root";
    case Breach::kKeyVolatile:
        return "the key names volatile subkeys, which are in no file";
    case Breach::kKeyParent:
        return "the key names another parent";
    case Breach::kKeyNameCharacter:
        return "the key's name holds a backslash, so that no path can name it";
    case Breach::kKeyMaxima:
        return "the key's maximum of names or data is below the real one";
    case Breach::kListSignature:
        return "this is no list of subkeys";
    case Breach::kListCount:
        return "the list's count does not fit its cell";
    case Breach::kListNested:
        return "an index of lists lies inside another";
    case Breach::kListTotal:
        return "the key's count of subkeys is not that of its lists";
    case Breach::kListOrder:
        return "the subkey is out of order or there twice";
    case Breach::kListHash:
        return "the list's hash or hint is not that of the name";
    case Breach::kListVersion:
        return "the list of subkeys is of a kind that the hive's version does not have";
    case Breach::kValueListSize:
        return "the list of values does not fit its cell";
    case Breach::kValueSignature:
        return "this is no value";
    case Breach::kValueNameLength:
        return "the value's name does not fit its cell";
    case Breach::kValueFlags:
        return "the value has flags that do not exist";
    case Breach::kValueInline:
        return "inline data of more than 4 bytes";
    case Breach::kValuePadding:
        return "bytes behind the inline data are not zero";
    case Breach::kValueEmpty:
        return "the value has a cell for data of length 0";
    case Breach::kValueDataSize:
        return "the value's data does not fit its cell";
    case Breach::kBigDataCount:
        return "the big data record's count does not match its size";
    case Breach::kDataVersion:
        return "the value's data lies in a way that the hive's version does not have";
    case Breach::kClassLength:
        return "the class does not fit its cell";
    case Breach::kClassMissing:
        return "the key has a length of a class, and no class";
    case Breach::kClassLeftOver:
        return "the key names a class of no length";
    case Breach::kSecuritySignature:
        return "this is no security record";
    case Breach::kSecurityLength:
        return "the security descriptor does not fit its cell";
    case Breach::kSecurityDescriptor:
        return "the security descriptor is none that the platform takes";
    case Breach::kSecurityRing:
        return "the ring of security records is broken";
    case Breach::kSecurityCount:
        return "the security record's reference count is wrong";
    case Breach::kSecurityMissing:
        return "the key has no security record";
    case Breach::kShared:
        return "the cell has two owners, or a key lies below itself";
    case Breach::kDepth:
        return "keys are nested deeper than 512 levels";
    case Breach::kBinSignature:
        return "no hive bin begins here";
    case Breach::kBinOffset:
        return "the hive bin belongs to another place";
    case Breach::kBinSize:
        return "the hive bin's size can't be";
    case Breach::kCellNotStart:
        return "a record refers into the middle of a cell";
    case Breach::kFreeNeighbours:
        return "two free cells lie side by side";
    case Breach::kUnreferenced:
        return "nothing refers to this allocated cell";
    case Breach::kFileShort:
        return "the file ends before the hive does";
    case Breach::kBaseBlock:
        return "a field of the base block can't be";
    }
    return "unknown breach";
}

} // namespace tolvar
