#include "FunctionsVersion.h"

const char* functionsVersion()
{
    return FUNCTIONS_VERSION_STRING;
}
