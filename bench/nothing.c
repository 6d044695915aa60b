// What any program takes to start and to end.
int main(void) {
    return 0;
}
