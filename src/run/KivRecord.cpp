#include "run/KivRecord.h"

KivRecord Kiv;
