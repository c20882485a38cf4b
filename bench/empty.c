/* The smallest Windows program: its start-up time under Wine is the floor that any .exe pays. */
int main(void) {
    return 0;
}
