#include <iostream>

/// The time that any program takes to start, as a baseline for whole commands.
int main() {}
