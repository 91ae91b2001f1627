/* An entry under the name that is tried last. */
int Entry(void) __asm__("main");
int Entry(void)
{
    return 11;
}
