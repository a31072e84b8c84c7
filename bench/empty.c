/* The least that a program of this machine's C library does. */
int main(void) {
    return 0;
}
