// What the mail servers said to doctor, stage by stage: as text and as JSON.
#pragma once

#include "switchctl/text/Json.h"
#include "switchctl/visit/ServerVisit.h"

#include <string>

std::string visitLines(const OutsideFacts& outside);
Json visitsJson(const OutsideFacts& outside);
