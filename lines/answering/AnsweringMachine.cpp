#include "lines/answering/AnsweringMachine.h"
