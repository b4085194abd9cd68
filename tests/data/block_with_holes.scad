// A block with two holes through it, and a ball beside it: two parts, one of genus 2, one of genus 0.
difference() {
    cube([30, 20, 10]);
    translate([8, 10, -1]) cylinder(h = 12, r = 4, $fn = 24);
    translate([22, 10, -1]) cylinder(h = 12, r1 = 5, r2 = 3, $fn = 17);
}
translate([45, 10, 5]) sphere(r = 6, $fn = 20);
