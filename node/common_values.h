// SPDX-License-Identifier: Apache-2.0
// The settings of the whole process, read when the factory is made and only read afterwards.
#ifndef ZEB_NODE_COMMON_VALUES_H
#define ZEB_NODE_COMMON_VALUES_H

// False when memory ran out while the override was read: nodes that are made then measure nothing.
extern bool overrideIsKnown;

// Overrides the activation attribute of every node: 0 for none, else a ZEB_ActivateNode. Only
// getCommonValues writes it.
extern int overrideActivateNodeForAll;

#endif  // ZEB_NODE_COMMON_VALUES_H
