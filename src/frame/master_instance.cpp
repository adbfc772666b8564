#include "frame/master_instance.h"

MasterInstance* masterInstance = nullptr;
