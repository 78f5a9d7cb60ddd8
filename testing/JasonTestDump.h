#ifndef TESTING_JASONTESTDUMP_H_
#define TESTING_JASONTESTDUMP_H_

// Test helpers: short, unambiguous texts of trees and tokens, so that tests
// can compare a whole structure with one hand-written line.

#include <string>
#include <vector>

#include "JasonParser/JasonScanner.h"
#include "JasonParser/JasonTree.h"

// The structure of a tree:
//   root:   root(<value>)  or root()  when the value is null
//   object: {<pair>,<pair>}      pair: <name>:<value>  (missing parts as ?)
//   array:  [<value>,<value>]
//   string: "<bytes>"  with ", \ and bytes outside 0x20..0x7E as \xHH
//   number: #<text>    constant: <text>
// Written with an explicit stack, so trees of any depth can be dumped.
std::string DumpJasonTree(const CJasonTreeNode* node);

// Every node in document order as <letter><start>-<end>, blank-separated.
// Letters: R root, P pair, O object, A array, S string, N number, C const.
std::string DumpJasonPositions(const CJasonTreeNode* node);

// Tokens as <kind>:<text>@<start>-<end>, blank-separated; text as in
// DumpJasonTree's strings, without quotes.
std::string DumpJasonTokens(const std::vector<CJasonToken*>& tokens);

// Quotes bytes as DumpJasonTree does for strings (without the quotes).
std::string DumpJasonBytes(const std::string& bytes);

#endif  // TESTING_JASONTESTDUMP_H_
