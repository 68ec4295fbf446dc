#include "tests/support/TestCallLog.h"

TestCallLog::TestCallLog()
    : callLog(CallLogServices{.store = store,
                              .clock = clock,
                              .settings = settings,
                              .logs = logs,
                              .language = language,
                              .dialogs = dialogs,
                              .phonebooks = Phonebooks,
                              .configs = Konfigurationen,
                              .profiles = profiles,
                              .iniPath = iniPath(),
                              .programFolder = dir.path(),
                              .soundFolder = [this] {
                                  return soundFolder;
                              }}) {
    callLog.SEZGDBOpen();
}

std::vector<EZGRecord> CallLogRecords(pdb::PdbStore& store, const modEZGDB& callLog) {
    std::vector<EZGRecord> records;
    const int32_t log = callLog.hLog;
    EZGRecord::Block block{};
    for (int32_t code = store.PDB_GetFirstRecord(log); code == pdb::Ok; code = store.PDB_GetNextRecord(log))
        if (store.PDB_GetRecordEZG(log, block.data()) == pdb::Ok)
            records.push_back(EZGRecord::FromBlock(block));
    return records;
}
