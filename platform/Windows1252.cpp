#include "platform/Windows1252.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace {

// Windows-1252 differs from Latin-1 in the bytes 0x80 to 0x9F; the five it leaves unassigned stay the
// C1 controls, as Windows maps them.
constexpr char16_t kHigh[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char toByte(char16_t c) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF))
        return static_cast<char>(c);
    const auto* found = std::find(std::begin(kHigh), std::end(kHigh), c);
    return found == std::end(kHigh) ? '?' : static_cast<char>(0x80 + (found - std::begin(kHigh)));
}

constexpr std::array<unsigned char, 256> makeFold() {
    std::array<unsigned char, 256> fold{};
    for (int b = 0; b < 256; ++b)
        fold[size_t(b)] = static_cast<unsigned char>(b);
    for (int b = 'a'; b <= 'z'; ++b)
        fold[size_t(b)] = static_cast<unsigned char>(b - 0x20);
    // à ... þ without ÷; ß has no capital of its own here.
    for (int b = 0xE0; b <= 0xFE; ++b)
        if (b != 0xF7)
            fold[size_t(b)] = static_cast<unsigned char>(b - 0x20);
    fold[0x9A] = 0x8A; // š Š
    fold[0x9C] = 0x8C; // œ Œ
    fold[0x9E] = 0x8E; // ž Ž
    fold[0xFF] = 0x9F; // ÿ Ÿ
    return fold;
}
constexpr std::array<unsigned char, 256> kFold = makeFold();

} // namespace

QByteArray ToWindows1252(const QString& text) {
    QByteArray bytes;
    bytes.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
            ++i;
        bytes.append(toByte(c.unicode()));
    }
    return bytes;
}

QString FromWindows1252(const char* bytes, qsizetype size) {
    QString text(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        text[i] = QChar(byte >= 0x80 && byte < 0xA0 ? kHigh[byte - 0x80] : static_cast<char16_t>(byte));
    }
    return text;
}

void PutBlockText(char* field, qsizetype width, const QString& value) {
    const QByteArray bytes = ToWindows1252(value);
    const qsizetype size = std::min(bytes.size(), width);
    std::memcpy(field, bytes.constData(), size_t(size));
    if (size < width) {
        field[size] = '\0';
        std::memset(field + size + 1, ' ', size_t(width - size - 1));
    }
}

QString GetBlockText(const char* field, qsizetype width) {
    const auto* zero = static_cast<const char*>(std::memchr(field, 0, size_t(width)));
    qsizetype end = zero != nullptr ? zero - field : width;
    qsizetype begin = 0;
    while (begin < end && field[begin] == ' ')
        ++begin;
    while (end > begin && field[end - 1] == ' ')
        --end;
    return FromWindows1252(field + begin, end - begin);
}

unsigned char FoldCase1252(unsigned char byte) {
    return kFold[byte];
}

QString DecodeTextFile(const QByteArray& bytes) {
    if (bytes.startsWith("\xFF\xFE"))
        return QStringDecoder(QStringConverter::Utf16LE)(bytes);
    if (bytes.startsWith("\xFE\xFF"))
        return QStringDecoder(QStringConverter::Utf16BE)(bytes);
    QStringDecoder utf8(QStringConverter::Utf8); // skips a leading byte order mark
    QString text = utf8(bytes);
    return utf8.hasError() ? FromWindows1252(bytes) : text;
}
