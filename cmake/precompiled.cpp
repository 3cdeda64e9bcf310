// Has nothing but the headers that are compiled with it.
int main() {}
