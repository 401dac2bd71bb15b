// A still life by a window: the picture photograph.jpg.
//
//   povray +Iphotograph.pov +Ophotograph.png +W1024 +H768 +A0.3 +R2
//   convert photograph.png -quality 85 photograph.jpg

#version 3.7;

default { finish { ambient rgb <0.045, 0.05, 0.06> } }

global_settings {
    assumed_gamma 1.0
    max_trace_level 5
    ambient_light rgb 1
}

camera {
    location <-1.2, 5.6, -13.5>
    look_at <0.1, 1.75, 0>
    right x * 4 / 3
    up y
    angle 36
}

// The window, a warm late-morning light from the upper left, and a faint fill from the room.
light_source {
    <-16, 15, -9>
    rgb <1.0, 0.93, 0.80> * 1.65
    area_light <0, 0, 7>, <4, 5, 0>, 5, 5 adaptive 0 jitter circular orient
}
light_source { <14, 9, -16> rgb <0.75, 0.85, 1.0> * 0.16 shadowless }

// Wall
plane {
    z, 9
    inverse
    texture {
        pigment {
            bozo
            color_map { [0 rgb <0.42, 0.46, 0.44>] [0.6 rgb <0.50, 0.53, 0.49>] [1 rgb <0.36, 0.41, 0.40>] }
            scale 6
            turbulence 0.7
        }
        normal { granite 0.12 scale 1.5 }
        finish { diffuse 0.8 }
    }
}

// Table
#declare Wood = texture {
    pigment {
        wood
        turbulence <0.06, 0.05, 0.25>
        octaves 4
        color_map {
            [0.00 rgb <0.36, 0.19, 0.085>]
            [0.45 rgb <0.30, 0.145, 0.06>]
            [0.78 rgb <0.19, 0.085, 0.035>]
            [1.00 rgb <0.37, 0.20, 0.09>]
        }
        rotate y * 90
        rotate <3, 4, 0>
        scale <3.2, 0.55, 0.55>
        translate <0, -3.4, 1.3>
    }
    normal { bumps 0.05 scale <2.5, 0.15, 0.15> }
    finish { diffuse 0.75 specular 0.25 roughness 0.03 }
}
union {
    #for (Plank, -4, 4)
        box {
            <-20, -0.8, Plank * 2.3 + 0.02>, <20, 0, Plank * 2.3 + 2.28>
            texture { Wood translate <Plank * 7.3, Plank * 2.1, 0> }
        }
    #end
}

// A linen cloth, half under the fruit
#declare Fold = function(x, z) { 0.10 * sin(x * 1.3 + 0.8 * sin(z * 0.9)) * sin(z * 0.7 + 1) + 0.05 * sin(x * 3.1 - z * 1.2) }
mesh {
    #local Step = 0.08;
    #local Nx = 62;
    #local Nz = 46;
    #for (I, 0, Nx - 1)
        #for (J, 0, Nz - 1)
            #local X0 = -1.0 + I * Step;
            #local Z0 = -3.9 + J * Step;
            #local X1 = X0 + Step;
            #local Z1 = Z0 + Step;
            #local A = <X0, 0.16 + Fold(X0, Z0), Z0>;
            #local B = <X1, 0.16 + Fold(X1, Z0), Z0>;
            #local C = <X1, 0.16 + Fold(X1, Z1), Z1>;
            #local D = <X0, 0.16 + Fold(X0, Z1), Z1>;
            #macro Upright(P)
                vnormalize(<-(Fold(P.x + 0.01, P.z) - Fold(P.x - 0.01, P.z)) / 0.02, 1,
                           -(Fold(P.x, P.z + 0.01) - Fold(P.x, P.z - 0.01)) / 0.02>)
            #end
            smooth_triangle { A, Upright(A), B, Upright(B), C, Upright(C) }
            smooth_triangle { A, Upright(A), C, Upright(C), D, Upright(D) }
        #end
    #end
    texture {
        pigment {
            gradient x
            color_map {
                [0.00 rgb <0.82, 0.79, 0.70>] [0.86 rgb <0.82, 0.79, 0.70>]
                [0.86 rgb <0.20, 0.30, 0.47>] [0.93 rgb <0.20, 0.30, 0.47>]
                [0.93 rgb <0.82, 0.79, 0.70>] [1.00 rgb <0.82, 0.79, 0.70>]
            }
            scale 1.55
        }
        normal { quilted 0.25 scale 0.035 }
        finish { diffuse 0.85 }
    }
    rotate y * -14
    translate <0.6, 0, -0.3>
}

#declare Skin = finish { diffuse 0.75 specular 0.35 roughness 0.025 reflection { 0.0, 0.10 fresnel on } conserve_energy }

#declare Stem = union {
    #for (I, 0, 12)
        sphere { <0.10 * pow(I / 12, 2), I * 0.05, 0>, 0.045 + 0.012 * pow(I / 12, 3) }
    #end
    pigment { rgb <0.16, 0.10, 0.05> }
    finish { diffuse 0.7 }
}

#macro Apple(Red, Turn)
    union {
        lathe {
            cubic_spline
            12,
            <0.25, 0.50>, <0.00, 0.02>, <0.30, 0.00>, <0.72, 0.22>, <1.03, 0.78>, <1.07, 1.22>,
            <0.90, 1.66>, <0.58, 1.86>, <0.28, 1.83>, <0.10, 1.68>, <0.00, 1.60>, <-0.15, 1.60>
            texture {
                pigment {
                    radial
                    frequency 9
                    turbulence 0.25
                    color_map { [0 rgb Red] [0.5 rgb Red * <1.05, 0.75, 0.7>] [0.8 rgb Red * <1.0, 1.7, 1.2>] [1 rgb Red] }
                }
                finish { Skin }
            }
            texture {
                pigment {
                    gradient y
                    turbulence 0.15
                    color_map {
                        [0.00 rgbt <0.72, 0.62, 0.16, 0.25>] [0.16 rgbt <0.72, 0.62, 0.16, 1>]
                        [0.72 rgbt <0.70, 0.66, 0.18, 1>] [0.95 rgbt <0.66, 0.66, 0.20, 0.1>]
                    }
                    scale 1.95
                }
                finish { Skin }
            }
            interior { ior 1.4 }
        }
        object { Stem translate y * 1.58 }
        rotate Turn
    }
#end

object { Apple(<0.58, 0.05, 0.035>, <0, 20, 0>) translate <-1.35, 0.05, -2.3> }
object { Apple(<0.50, 0.09, 0.03>, <14, 80, -24>) scale 0.93 translate <1.3, 0.42, -2.2> }

// A pear, leaning on the jug
union {
    lathe {
        cubic_spline
        12,
        <0.2, 0.3>, <0.00, 0.02>, <0.35, 0.00>, <0.86, 0.34>, <1.08, 0.92>, <0.94, 1.50>,
        <0.66, 1.98>, <0.50, 2.38>, <0.36, 2.66>, <0.14, 2.77>, <0.00, 2.74>, <-0.2, 2.70>
        texture {
            pigment {
                granite
                scale 0.8
                color_map { [0 rgb <0.52, 0.50, 0.09>] [0.55 rgb <0.60, 0.55, 0.13>] [0.85 rgb <0.45, 0.35, 0.09>] [1 rgb <0.30, 0.20, 0.06>] }
            }
            finish { Skin }
        }
        texture {
            pigment { gradient x turbulence 0.2 color_map { [0 rgbt 1] [0.55 rgbt 1] [1 rgbt <0.62, 0.20, 0.06, 0.3>] } scale 2.4 translate x * -1.2 }
            finish { Skin }
        }
        interior { ior 1.4 }
    }
    object { Stem translate y * 2.68 }
    rotate <0, 0, -9>
    translate <-3.4, 0.1, -0.9>
}

// Grapes spilling over the cloth
#declare Chance = seed(23);
union {
    #for (I, 0, 46)
        #local Row = int(I / 9);
        #local R = 0.31 + 0.05 * rand(Chance);
        sphere {
            <2.1 + 1.7 * rand(Chance) + Row * 0.12, 0.42 + Row * 0.30 + 0.1 * rand(Chance), -1.7 + 1.5 * rand(Chance) + Row * 0.07>, R
            texture {
                pigment {
                    bozo
                    scale 0.3
                    turbulence 0.4
                    color_map { [0 rgb <0.075, 0.02, 0.10>] [0.6 rgb <0.13, 0.035, 0.12>] [1 rgb <0.20, 0.16, 0.26>] }
                }
                finish { diffuse 0.8 specular 0.45 roughness 0.03 reflection { 0.0, 0.15 fresnel on } conserve_energy }
            }
            interior { ior 1.38 }
        }
    #end
}

// A white jug
union {
    lathe {
        cubic_spline
        17,
        <0.6, 0.3>, <0.00, 0.00>, <0.95, 0.00>, <1.12, 0.14>, <1.55, 1.05>, <1.62, 1.90>, <1.30, 2.85>, <0.95, 3.65>, <0.98, 4.20>,
        <1.20, 4.62>, <1.13, 4.66>, <0.88, 4.20>, <0.84, 3.65>, <1.20, 2.80>, <1.45, 1.60>, <0.00, 0.40>, <-0.4, 0.4>
    }
    // Its handle
    intersection {
        torus { 1.05, 0.15 rotate x * 90 translate <1.25, 3.2, 0> }
        box { <0.93, 1.8, -0.3>, <2.6, 4.6, 0.3> }
    }
    texture {
        pigment { rgb <0.80, 0.78, 0.73> }
        normal { bumps 0.02 scale 0.6 }
        finish { diffuse 0.8 specular 0.4 roughness 0.012 reflection { 0.01, 0.20 fresnel on } conserve_energy }
    }
    texture {
        pigment {
            gradient y
            color_map {
                [0 rgbt 1] [0.475 rgbt 1] [0.475 rgbt <0.10, 0.19, 0.38, 0>] [0.492 rgbt <0.10, 0.19, 0.38, 0>]
                [0.492 rgbt 1] [0.50 rgbt 1] [0.50 rgbt <0.10, 0.19, 0.38, 0>] [0.525 rgbt <0.10, 0.19, 0.38, 0>] [0.525 rgbt 1] [1 rgbt 1]
            }
            scale 6
        }
    }
    interior { ior 1.5 }
    rotate y * 28
    translate <-0.9, 0, 1.6>
}

// A green bottle
difference {
    lathe {
        cubic_spline
        13,
        <0.4, 0.3>, <0.00, 0.00>, <0.78, 0.00>, <0.90, 0.12>, <0.92, 1.4>, <0.92, 2.9>, <0.80, 3.65>,
        <0.42, 4.35>, <0.33, 5.0>, <0.33, 5.85>, <0.38, 6.0>, <0.00, 6.05>, <-0.3, 6.05>
    }
    lathe {
        cubic_spline
        11,
        <0.4, 0.5>, <0.00, 0.18>, <0.68, 0.16>, <0.81, 0.30>, <0.84, 1.4>, <0.84, 2.9>, <0.72, 3.60>,
        <0.34, 4.32>, <0.25, 5.0>, <0.25, 6.2>, <0.0, 6.3>
    }
    pigment { rgbf <0.80, 0.92, 0.78, 0.93> }
    finish { diffuse 0.05 specular 0.9 roughness 0.004 reflection { 0.02, 0.9 fresnel on } conserve_energy }
    interior { ior 1.5 fade_distance 0.28 fade_power 1001 fade_color <0.10, 0.32, 0.12> }
    translate <2.55, 0, 2.7>
}
