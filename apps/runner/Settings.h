#pragma once

// Settings as a host takes them from people: typed by the node's declaration, and checked
// against it before anything runs.
#include <memory>
#include <string>

#include "Host.h"

namespace orva {

// The value "KEY=VALUE" gives: the kind the node declares for the key (a "double or long"
// parameter takes a whole number as a long, else a double), else the look of the text (an
// integer literal is a long, a decimal number a double, true or false a bool, anything else a
// string). A text the declared kind cannot read is a usage error.
std::unique_ptr<ORVA::CValue> TypedValue(const CHostNode& node, const std::string& key,
                                         const std::string& text);

// Whether `key` may be set on the node with `value`: the node must read the key (its document
// declares it, or its declaration says it reads it), the value must be of a kind the parameter
// takes, among its allowed values and within its range. Each failure is a usage error naming
// the node, or with `lenient` a warning on standard error.
void CheckSetting(const CHostNode& node, const std::string& key, const ORVA::CValue& value,
                  const SCheckOptions& options);

// "node 'ID' (PLUGIN)", the way messages name a node.
std::string NodeContext(const CHostNode& node);

}  // namespace orva
