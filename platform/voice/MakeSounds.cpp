// Writes the tones that ship with Morva into a folder, as the build does: morva-make-sounds FOLDER.

#include "platform/voice/Tones.h"

#include <QDir>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: morva-make-sounds FOLDER\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!QDir().mkpath(folder.path())) {
        std::fprintf(stderr, "morva-make-sounds: cannot create %s\n", argv[1]);
        return 1;
    }
    for (const voice::ToneDefinition& tone : voice::ShippedTones()) {
        QString error;
        if (!voice::WriteTone(tone, folder.filePath(tone.fileName), &error)) {
            std::fprintf(stderr, "morva-make-sounds: %s\n", qPrintable(error));
            return 1;
        }
    }
    return 0;
}
