#pragma once

#include "platform/profile/ProfileStore.h"

#include <QVariant>

#include <cstdint>

// The values the Windows program kept in its registry live in a second profile file beside Morva.ini
// (one section per key path). Only the two value types the program uses exist.
//
// The section of a key is its root and path, "[HKLM\Software\Nalda\Morva]". Each value is one line in the
// notation of exported registry files, so that it keeps its type:
//     PhoneType=dword:00000003      a 32-bit number, eight hexadecimal digits
//     Vorwahl="089"                 a string between double quotes, of any length
// A hand-written value without quotes is read as a string too. A line break in a string becomes a blank.
constexpr int32_t REG_SZ = 1;
constexpr int32_t REG_DWORD = 4;

enum class RegRoot { LocalMachine, CurrentUser };

class RegistryFile {
public:
    RegistryFile(ProfileStore& store, QString path); // path: e.g. <data>/Registry.ini

    // A missing value or key gives the default. A REG_SZ value read is cut at its first NUL. The result
    // has the stored type: QString for REG_SZ, int32_t for REG_DWORD.
    QVariant RegRead(RegRoot root, const QString& key, const QString& value, const QVariant& defaultValue);
    // Creates the key first. data: QString for REG_SZ, integer for REG_DWORD. False when it cannot be
    // written, or for any other type.
    bool RegWrite(RegRoot root, const QString& key, const QString& value, int32_t type, const QVariant& data);
    bool RegCreateKey(RegRoot root, const QString& key);
    const QString& path() const { return m_path; }

private:
    static QString sectionOf(RegRoot root, const QString& key);

    ProfileStore& m_store;
    QString m_path;
};
