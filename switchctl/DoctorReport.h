// What the mail servers said to doctor, stage by stage: as text and as JSON.
#pragma once

#include "switchctl/Json.h"
#include "switchctl/ServerVisit.h"

#include <string>

std::string visitLines(const OutsideFacts& outside);
Json visitsJson(const OutsideFacts& outside);
