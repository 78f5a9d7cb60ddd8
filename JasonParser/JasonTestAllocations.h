#ifndef JASONPARSER_JASONTESTALLOCATIONS_H_
#define JASONPARSER_JASONTESTALLOCATIONS_H_

// Test helpers: the JasonParser test program replaces the global operator
// new (all forms that take no alignment) with one that counts its calls per
// thread and can be told to fail, so that tests can check what allocates.

// Calls of the global operator new made on this thread so far.
long NewCallsOnThisThread();

// While set, every global operator new on this thread throws
// std::bad_alloc instead of allocating.
void FailNewOnThisThread(bool fail);

#endif  // JASONPARSER_JASONTESTALLOCATIONS_H_
