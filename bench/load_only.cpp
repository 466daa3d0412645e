// Loads the shared libraries that `sensorcal` loads, and ends.
int main() { return 0; }
