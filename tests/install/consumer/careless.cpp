// SPDX-License-Identifier: Apache-2.0
// What this project's own warnings would not let through, and a product may well hold.
short narrowed(long number);

short narrowed(long number) {
    short number2 = number;
    if (number) {
        int number = 1;
        number2 += number;
    }
    return number2;
}
