// The queue as a screen for a person and as an object for a program.
#pragma once

#include "switchctl/queue/QueueRows.h"
#include "switchctl/text/Json.h"

#include <string>
#include <vector>

std::string queueLines(const QueueFacts& facts, const std::vector<QueueRow>& rows);
Json queueJson(const QueueFacts& facts, const std::vector<QueueRow>& rows);

// Everything about one message, but for its mails.
std::string messageLines(const QueueFacts& facts, const QueueRow& row);
Json messageJson(const QueueFacts& facts, const QueueRow& row);
