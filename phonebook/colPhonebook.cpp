#include "phonebook/colPhonebook.h"

QString colPhonebook::NumberToNameAddNew(const QString& number, QString& detail) const {
    detail.clear();
    return number;
}
