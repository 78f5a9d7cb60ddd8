#include "JasonParser/JasonText.h"

std::string g_strJasonText;
